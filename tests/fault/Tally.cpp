#include "Tally.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>

#include "support/Normaliser.h"

namespace veltra::testing {

namespace {

std::string neutral(const std::string& message) {
    return withoutValues(message, {"ticket_I4", "socket_I8", "from_I8", "localport_I4"});
}

bool isLabelled(const std::string& line) {
    static const std::array<std::string, 10> labels = {"[ERROR]", "[INFO ]", "[HOOK ]", "[CALL ]",
                                                       "[RET  ]", "[WARNI]", "[DATA ]", "[LAUNC]",
                                                       "[LOW  ]", "[GENER]"};
    for (const std::string& label : labels) {
        if (line.rfind(label, 0) == 0) return line.find(label, 1) == std::string::npos;
    }
    return false;
}

// The message that a line of kind DATA shows.
std::string shownMessage(const std::string& line) {
    return line.substr(line.find(']', line.find(']') + 1) + 1);
}

}  // namespace

const std::string processOnce = neutral(processMessage);
const std::string closeOfSocket =
    R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="N" socket_I8="N"/>)";
const std::string acceptFromClient =
    R"(<accept pid_I4="PID" timestamp_I8="T" ticket_I4="N" from_I8="N" socket_I8="N" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="N"/>)";

Tally tallyOfProcesses(const Lines& messages) {
    Tally tally;
    for (const std::string& message : messages) {
        const bool isAccept = message.rfind("<accept ", 0) == 0;
        ++tally[isAccept ? withoutValues(neutral(message), {"port_I4"}) : neutral(message)];
    }
    return tally;
}

Tally tallyOf(const Lines& messages) {
    std::set<std::string> tickets;
    for (const std::string& message : messages) {
        const bool isNew = tickets.insert(valueOf(message, "ticket_I4")).second;
        EXPECT_TRUE(isNew || message.rfind("<addrinfo ", 0) == 0) << "same ticket: " << message;
    }
    return tallyOfProcesses(messages);
}

std::string connectOf(const std::string& portName) {
    return R"(<connect localport_I4="N" pid_I4="PID" timestamp_I8="T" ticket_I4="N" socket_I8="N" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4=")" +
           portName + R"("/>)";
}

std::string sendOf(const std::string& data, std::size_t length) {
    char digits[20];
    std::snprintf(digits, sizeof(digits), "%zx", length);
    return R"(<send timestamp_I8="T" ticket_I4="N" socket_I8="N" pid_I4="PID" data_AS=")" + data +
           R"(" length_U4=")" + digits + R"("/>)";
}

std::string receiveOf(const std::string& data, std::size_t length) {
    char digits[20];
    std::snprintf(digits, sizeof(digits), "%zx", length);
    return R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="N" socket_I8="N" data_AS=")" +
           data + R"(" length_I4=")" + digits + R"("/>)";
}

std::string announcementOf(const std::string& name) {
    return notRecordedMessage("N", name);
}

Tally countsOf(const ProbeOutcome& outcome) {
    Tally counts;
    for (const std::string& line : outcome.output) {
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos) continue;
        const std::string value = line.substr(colon + 2);
        if (std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; }))
            counts[line.substr(0, colon)] = std::stoul(value);
    }
    return counts;
}

bool endedWell(const ProbeOutcome& outcome) {
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.errors, "");
    return outcome.exitStatus == 0;
}

void expectWholeTrace(const ProbeOutcome& outcome) {
    Lines shown;
    for (const std::string& line : outcome.trace) {
        EXPECT_TRUE(isLabelled(line)) << "no whole line: " << line;
        if (line.rfind("[DATA ]", 0) == 0) shown.push_back(shownMessage(line));
    }
    EXPECT_EQ(tallyOfProcesses(shown), tallyOfProcesses(outcome.messages));
}

}  // namespace veltra::testing
