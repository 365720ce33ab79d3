#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ExpectedText.h"
#include "recorder/Recorder.h"
#include "support/Normaliser.h"

namespace veltra::testing {

namespace {

using ::testing::SizeIs;

TEST(StartUp, RunsAtTheFirstCallAndSendsNothing) {
    const ProbeOutcome outcome = runScenario("startUp", "socket-first");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(outcome.trace, joined({startUpTrace(), socketTrace()}));
}

TEST(StartUp, LeavesTheErrorCodeOfTheFirstCall) {
    const ProbeOutcome outcome = runScenario("startUp", "failure-first");
    EXPECT_EQ(outcome.output, Lines{"listen: -1 errno 9"});
    EXPECT_EQ(outcome.messages, (Lines{processMessage, notRecordedMessage("3", "listen")}));
}

TEST(StartUp, RunsAtAReadOfAPlainFileToo) {
    const ProbeOutcome outcome = runScenario("startUp", "read-file-first");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][2]socket ",
                     "[RET  ][2]socket (OK):\tsocket : 4\t af = (2)AF_INET,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}));
}

TEST(StartUp, OfManyThreadsAtOnceHappensOnceAndLosesNothing) {
    const ProbeOutcome outcome = runProbe(quietProbe("startUp", "many-threads"));
    EXPECT_EQ(outcome.output, Lines{"failures: 0"});
    ASSERT_THAT(outcome.messages, SizeIs(33));
    EXPECT_EQ(outcome.messages[0], processMessage);

    Lines events;
    std::vector<unsigned long> tickets;
    for (auto message = outcome.messages.begin() + 1; message != outcome.messages.end();
         ++message) {
        tickets.push_back(std::stoul(valueOf(*message, "ticket_I4"), nullptr, 16));
        events.push_back(withoutValues(*message, {"ticket_I4", "socket_I8", "localport_I4"}));
    }
    std::sort(tickets.begin(), tickets.end());
    std::sort(events.begin(), events.end());
    Lines expectedEvents;
    std::vector<unsigned long> expectedTickets;
    for (unsigned long i = 0; i < 32; ++i) {
        expectedTickets.push_back(i + 2);
        expectedEvents.push_back(
            i < 16
                ? R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="N" socket_I8="N"/>)"
                : R"(<connect localport_I4="N" pid_I4="PID" timestamp_I8="T" ticket_I4="N" socket_I8="N" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)");
    }
    EXPECT_EQ(tickets, expectedTickets);
    EXPECT_EQ(events, expectedEvents);
}

TEST(StartUp, TakesCallsOfTheRecorderCoreThatItLoads) {
    ProbeSettings settings = probe("startUp", "failure-first");
    settings.environment["VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH"] = VELTRA_REENTRANT_CORE;
    const ProbeOutcome outcome = runProbe(settings);
    const std::string process =
        R"(<process timestamp_ns_I8="1092" timestamp_I4="0" ticket_I4="8" workingdir_AS="FOLDER" pid_I4="PID" archi_AS="LINUX"/>)";
    const std::string announced =
        R"(<notrecorded timestamp_ns_I8="1092" timestamp_I8="T" ticket_I4="a" name_AS="listen"/>)";
    EXPECT_EQ(outcome.messages, (Lines{process, announced}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[RET  ][9]listen (SOCKET ERROR : 9 ????? : unknown code):",
                     dataTrace(0, process), dataTrace(10, announced)}));
}

TEST(StartUp, TakesCallsOfTheResolverThatItAsks) {
    std::vector<std::string> questions;
    Recorder server([&](std::string_view question) { questions.emplace_back(question); });
    ProbeSettings settings = quietProbe("startUp", "socket-first");
    settings.environment["NEXT_LIBRARY_RESOLVER"] = std::to_string(server.port());
    const ProbeOutcome outcome = runProbe(settings);
    server.stop();
    EXPECT_EQ(questions, Lines{"who?"});
    Lines messages = outcome.messages;
    for (std::string& message : messages) {
        message = withoutValues(message, {"localport_I4", "port_I4"});
    }
    EXPECT_EQ(
        messages,
        (Lines{
            processMessage,
            R"(<connect localport_I4="N" pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="3" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="N"/>)",
            R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="who?" length_U4="4"/>)",
            R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3"/>)"}));
}

TEST(End, SendsAnExitMessageEachTime) {
    const ProbeOutcome outcome = runWithAgent(probe("startUp", "end-twice"));
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "end: 0 errno 77",
                                     "end: 0 errno 77", "listen: -1 errno 9"}));
    const std::string announced = notRecordedMessage("3", "listen");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, "<exit/>", "<exit/>", announced}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[RET  ][2]end called", processTrace(), dataTrace(2, "<exit/>"),
                       "[RET  ][3]end called", dataTrace(3, "<exit/>"),
                       "[RET  ][4]listen (SOCKET ERROR : 9 ????? : unknown code):",
                       dataTrace(5, announced)}}));
}

TEST(End, BeforeAnyCallDoesNothingButDrawACallNumber) {
    const ProbeOutcome outcome = runWithAgent(probe("startUp", "end-first"));
    EXPECT_EQ(outcome.output, (Lines{"end: 0 errno 77", "socket: descriptor errno 77"}));
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][2]socket ",
                     "[RET  ][2]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}));
}

}  // namespace

}  // namespace veltra::testing
