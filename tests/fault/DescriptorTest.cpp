#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "FaultyRecorder.h"
#include "Tally.h"
#include "support/ListeningServer.h"
#include "support/TraceLog.h"

namespace veltra::testing {

namespace {

class Descriptors : public ::testing::TestWithParam<int> {
protected:
    static ProbeOutcome run(const std::string& scenario) {
        ProbeSettings settings = probe("descriptors", scenario);
        settings.traceLevel = GetParam();
        return runProbe(settings);
    }

    static void expectAnnouncements(const ProbeOutcome& outcome, std::size_t count) {
        EXPECT_EQ(tallyOf(outcome.messages),
                  (Tally{{processOnce, 1}, {announcementOf("listen"), count}}));
    }
};

TEST_P(Descriptors, OfTheAgentSitOutOfTheProgramsWay) {
    const ProbeOutcome outcome = run("numbers");
    EXPECT_EQ(outcome.output, (Lines{"open: 3", "open: 4", "open: 5", "socket: 6", "open: 7"}));
    expectAnnouncements(outcome, 2);
}

TEST_P(Descriptors, OfTheAgentLeaveSelectItsReach) {
    const ProbeOutcome outcome = run("select-as-far-as-the-table");
    EXPECT_EQ(outcome.output, (Lines{"select: 1 errno 77", "behind the set: untouched"}));
}

TEST_P(Descriptors, OfTheAgentAreClosedWhenAnotherProgramIsExecuted) {
    const ProbeOutcome outcome = run("closed-on-exec");
    EXPECT_EQ(outcome.output, (Lines{"still open: 0", "still open: 1", "still open: 2"}));
}

TEST_P(Descriptors, OfTheAgentAreNoneToACloseLoop) {
    const ProbeOutcome outcome = run("close-loop");
    EXPECT_EQ(outcome.output, (Lines{"closed: 1 of 1", "own.txt: its own"}));
    expectAnnouncements(outcome, 4);
    if (GetParam() != 0) expectWholeTrace(outcome);
}

class DescriptorsClosed : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

// Where the log has been taken away it goes on by its name.
TEST_P(DescriptorsClosed, LeaveTheProgramsFilesToTheProgram) {
    const auto [scenario, traceLevel] = GetParam();
    ProbeSettings settings = probe("descriptors", scenario);
    settings.traceLevel = traceLevel;
    const ProbeOutcome outcome = runProbe(settings);
    EXPECT_EQ(outcome.output, Lines{"own.txt: its own"});
    const std::size_t count = scenario == std::string("replace") ? 202 : 203;
    EXPECT_EQ(tallyOf(outcome.messages),
              (Tally{{processOnce, 1}, {announcementOf("listen"), count}}));
    if (traceLevel != 0) expectWholeTrace(outcome);
}

INSTANTIATE_TEST_SUITE_P(Ways, DescriptorsClosed,
                         ::testing::Combine(::testing::Values("close-by-range", "close-by-library",
                                                              "close-by-system-call", "replace"),
                                            ::testing::Values(0, 1023)));

INSTANTIATE_TEST_SUITE_P(Traces, Descriptors, ::testing::Values(0, 1023));

// Traced to a debug server as well, which so has a descriptor that the program can take.
class DebuggedDescriptors : public ::testing::TestWithParam<const char*> {
protected:
    ProbeOutcome run() {
        std::thread reader([&] {
            server_.accept();
            received_ = server_.takeToEnd();
        });
        ProbeSettings settings = probe("descriptors", GetParam());
        settings.arguments.emplace_back("with-debug-server");
        settings.environment["VELTRA_SOCKET_AGENT_DEBUG_IP"] = "127.0.0.1";
        settings.environment["VELTRA_SOCKET_AGENT_DEBUG_PORT"] = std::to_string(server_.port());
        const ProbeOutcome outcome = runProbe(settings);
        reader.join();
        return outcome;
    }

    static constexpr const char* firstLine = "[INFO ]connect() done on debug server";

    ListeningServer server_;
    std::string received_;
};

using DebugServerClosed = DebuggedDescriptors;

TEST_P(DebugServerClosed, LeavesTheProgramsFilesToTheProgram) {
    const ProbeOutcome outcome = run();
    EXPECT_EQ(outcome.output, Lines{"own.txt: its own"});
    EXPECT_EQ(linesOf(received_).at(0), firstLine);
    EXPECT_LT(linesOf(received_).size(), outcome.trace.size() / 2);
    expectWholeTrace(outcome);
}

INSTANTIATE_TEST_SUITE_P(Ways, DebugServerClosed,
                         ::testing::Values("close-by-range", "close-by-library",
                                           "close-by-system-call", "replace"));

using DebugServerKept = DebuggedDescriptors;

TEST_P(DebugServerKept, IsNoneToACloseLoop) {
    const ProbeOutcome outcome = run();
    EXPECT_EQ(outcome.output, (Lines{"closed: 1 of 1", "own.txt: its own"}));
    EXPECT_EQ(linesOf(received_).at(0), firstLine);
    const auto connected = std::find(outcome.trace.begin(), outcome.trace.end(), firstLine);
    EXPECT_EQ(linesOf(received_).size(), std::distance(connected, outcome.trace.end()));
}

INSTANTIATE_TEST_SUITE_P(Ways, DebugServerKept, ::testing::Values("close-loop"));

using DebugServerOnExec = DebuggedDescriptors;

TEST_P(DebugServerOnExec, IsClosed) {
    EXPECT_EQ(run().output, (Lines{"still open: 0", "still open: 1", "still open: 2"}));
    EXPECT_EQ(linesOf(received_).at(0), firstLine);
}

INSTANTIATE_TEST_SUITE_P(Ways, DebugServerOnExec, ::testing::Values("closed-on-exec"));

TEST(DescriptorOfAMessage, BelongsToWhoeverTakesItUnderWay) {
    const FaultyRecorder recorder(RecorderFault::neverReads);
    ProbeSettings settings = probe("descriptors", "take-connection");
    settings.traceLevel = 0;
    settings.recorderPort = recorder.port();
    const ProbeOutcome outcome = runProbe(settings);
    EXPECT_EQ(outcome.output, (Lines{"send: 16777216 errno 77", "own.txt: its own"}));
}

}  // namespace

}  // namespace veltra::testing
