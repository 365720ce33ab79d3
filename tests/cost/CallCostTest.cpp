#include <gtest/gtest.h>

#include <algorithm>

#include "CallTrace.h"
#include "support/MessageCollector.h"
#include "tools/Shell.h"

namespace veltra::testing {

namespace {

using Names = std::vector<std::string>;

// What a call costs once everything that happens only once has happened.
class CallCost : public ::testing::Test {
protected:
    Names systemCallsOf(const Names& call, const Variables& further = {}) {
        return systemCallsBetweenMarks(commandOf(call), variablesWith(further));
    }

    // How many the agent adds to those that the C library needs.
    int addedLockedInstructionsOf(const Names& call, const Variables& further = {}) {
        return lockedInstructionsBetweenMarks(commandOf(call), variablesWith(further)) -
               lockedInstructionsBetweenMarks(commandOf(call), {});
    }

    // By the agent and the C library together, in decimal.
    std::string allocationsOf(const Names& call, const Variables& further = {}) {
        std::string command = "env";
        for (const auto& [name, value] : variablesWith(further))
            command += " " + name + "=" + value;
        for (const std::string& word : commandOf(call))
            command += " " + word;
        return run(command).output;
    }

    const Variables unplugged_ = {{"VELTRA_SOCKET_AGENT_UNPLUG_AGENT", ""}};

private:
    static Names commandOf(const Names& call) {
        Names command = {VELTRA_CALL_COST_PROBE};
        command.insert(command.end(), call.begin(), call.end());
        return command;
    }

    Variables variablesWith(const Variables& further) const {
        Variables variables = {
            {"LD_PRELOAD", VELTRA_AGENT_LIBRARY},
            {"VELTRA_SOCKET_AGENT_PORT_NUMBER", std::to_string(recorder_.port())}};
        variables.insert(further.begin(), further.end());
        return variables;
    }

    MessageCollector recorder_;
};

TEST_F(CallCost, OfAnUnknownDescriptorIsTheApplicationsSystemCall) {
    EXPECT_EQ(systemCallsOf({"write-file", "1"}), Names{"write"});
}

TEST_F(CallCost, OfASocketThatIsNotRecordedIsTheApplicationsSystemCall) {
    EXPECT_EQ(systemCallsOf({"receive-datagram", "1"}), Names{"recvfrom"});
}

TEST_F(CallCost, OfAnUnpluggedAgentIsTheApplicationsSystemCall) {
    for (const char* const size : {"1", "1024", "65536"}) {
        EXPECT_EQ(systemCallsOf({"send", size}, unplugged_), Names{"sendto"}) << size;
        EXPECT_EQ(systemCallsOf({"receive", size}, unplugged_), Names{"recvfrom"}) << size;
    }
}

TEST_F(CallCost, OfARecordedSendIsAlsoAConnection) {
    EXPECT_EQ(systemCallsOf({"send", "64"}),
              (Names{"sendto", "rt_sigprocmask", "socket", "setsockopt", "setsockopt", "connect",
                     "sendto", "close", "rt_sigprocmask"}));
}

// Other threads might take the connection's number, or put something else in its place.
TEST_F(CallCost, OfARecordedSendInAProgramWithThreadsIsAConnectionOutOfTheirWay) {
    EXPECT_EQ(systemCallsOf({"send", "64", "idle-thread"}),
              (Names{"sendto", "rt_sigprocmask", "socket", "newfstatat", "fcntl", "close",
                     "newfstatat", "setsockopt", "setsockopt", "connect", "newfstatat", "sendto",
                     "newfstatat", "close", "rt_sigprocmask"}));
}

TEST_F(CallCost, DoesNotDependOnThePayloadWhileThatIsSmall) {
    EXPECT_EQ(systemCallsOf({"send", "1"}), systemCallsOf({"send", "65536"}));
    EXPECT_EQ(systemCallsOf({"receive", "1"}), systemCallsOf({"receive", "65536"}));
}

TEST_F(CallCost, OfALargePayloadIsOneMoreMapping) {
    const Names calls = systemCallsOf({"send", "16777216"});
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "mmap"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "munmap"), 1);
}

TEST_F(CallCost, IsNoMemoryOfTheApplications) {
    for (const char* const threads : {"", "idle-thread"}) {
        EXPECT_EQ(allocationsOf({"write-file", "1", threads}), "0") << threads;
        EXPECT_EQ(allocationsOf({"receive-datagram", "1", threads}), "0") << threads;
        EXPECT_EQ(allocationsOf({"send", "64", threads}, unplugged_), "0") << threads;
        for (const char* const size : {"1", "65536"}) {
            EXPECT_EQ(allocationsOf({"send", size, threads}), "0") << size << threads;
            EXPECT_EQ(allocationsOf({"receive", size, threads}), "0") << size << threads;
        }
        EXPECT_EQ(allocationsOf({"send", "16777216", threads}), "0") << threads;
    }
}

TEST_F(CallCost, InAProgramWithOneThreadIsNoMoreLockedInstruction) {
    EXPECT_EQ(addedLockedInstructionsOf({"write-file", "1"}), 0);
    EXPECT_EQ(addedLockedInstructionsOf({"receive-datagram", "1"}), 0);
    EXPECT_EQ(addedLockedInstructionsOf({"send", "64"}, unplugged_), 0);
}

// The two counters of a call.
TEST_F(CallCost, InAProgramWithThreadsIsTwoMoreLockedInstructions) {
    EXPECT_EQ(addedLockedInstructionsOf({"write-file", "1", "idle-thread"}), 2);
    EXPECT_EQ(addedLockedInstructionsOf({"receive-datagram", "1", "idle-thread"}), 2);
    EXPECT_EQ(addedLockedInstructionsOf({"send", "64", "idle-thread"}, unplugged_), 2);
}

}  // namespace

}  // namespace veltra::testing
