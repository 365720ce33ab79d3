#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

constexpr const char* agentFile = "libveltra_socket_agent.so";

ProbeSettings lookUp(const std::string& scenario) {
    ProbeSettings settings = probe("lookUp", scenario);
    for (const std::string& name : interposedNames)
        settings.arguments.push_back(name);
    settings.environment["PROBE_OBJECT"] = VELTRA_LOOKED_UP_OBJECT;
    return settings;
}

TEST(LookUp, OfAnInterposedNameFindsTheAgentWhateverTheHandle) {
    Lines expected;
    for (const std::string& name : interposedNames) {
        for (const std::string where : {"next ", "default ", "C library "}) {
            expected.push_back(where + name + ": " + agentFile);
        }
    }
    for (const std::string where : {"next ", "default ", "C library "}) {
        expected.push_back(where + "dlsym: " + agentFile);
    }
    const ProbeOutcome outcome = runWithAgent(lookUp("interposed-calls"));
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, expected);
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(outcome.trace, Lines{});
}

TEST(LookUp, OfAnyOtherNameAnswersAsWithoutTheAgent) {
    const ProbeOutcome outcome = runProbe(lookUp("other-names"));
    ASSERT_EQ(outcome.output.size(), 18u);
    EXPECT_EQ(
        outcome.output,
        (Lines{"default getpid: libc.so.6", "error: none", "next getpid: libc.so.6", "error: none",
               "C library gethostname: libc.so.6", "error: none",
               "object getaddrinfo_extra: libveltra_looked_up_object.so", "error: none",
               "object qsort: libveltra_looked_up_object.so", "error: none",
               "object getpid: libc.so.6", "error: none", "object no_such_name: none",
               "error: " VELTRA_LOOKED_UP_OBJECT ": undefined symbol: no_such_name",
               "C library getaddrinfo_extra: none",
               // The C library's path is the machine's.
               outcome.output[15], "next nextAnswer: libveltra_next_library.so", "error: none"}));
    EXPECT_EQ(outcome.trace, Lines{});
}

TEST(LookUp, OfANameThatAnObjectSharesWithTheAgentFindsTheAgent) {
    const ProbeOutcome outcome = runWithAgent(lookUp("name-of-the-agent"));
    EXPECT_EQ(outcome.output, Lines{"object getpeername: " + std::string(agentFile)});
}

TEST(LookUp, GivesPointersWhoseCallsAreTraced) {
    const ProbeOutcome outcome = runProbe(lookUp("looked-up-call"));
    EXPECT_EQ(traceAfterStartUp(outcome), socketTrace());
}

TEST(DirectCalls, ExistForEveryInterposedCall) {
    Lines expected;
    for (const std::string& name : interposedNames) {
        expected.push_back("default Direct" + name + ": " + agentFile);
    }
    const ProbeOutcome outcome = runWithAgent(lookUp("direct-names"));
    EXPECT_EQ(outcome.output, expected);
}

TEST(DirectCalls, MakeTheRealCallAndNothingElse) {
    const ProbeOutcome outcome = runWithAgent(lookUp("direct-calls"));
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
    EXPECT_EQ(outcome.output,
              (Lines{"Directsocket: descriptor errno 77", "Directconnect: 0 errno 77",
                     "Directsend: 4 errno 77", "ping", "Directread: 4 errno 77", "pong",
                     "Directclose: 0 errno 77", "Directclose: -1 errno 9",
                     "globalInit: 0 agent interface: none"}));
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(outcome.trace, Lines{});
}

struct OptionalHookCase {
    std::map<std::string, std::string> environment;
    std::string answer;
};

// The variables are read once, and change nothing else.
TEST(OptionalHooks, AnswerWhetherTheirVariablesWereSet) {
    const std::string first = "VELTRA_SOCKET_AGENT_OPT_HOOK";
    const std::string second = "VELTRA_SOCKET_AGENT_OPT_HOOK_2";
    const OptionalHookCase cases[] = {{{}, "first: 0 second: 0"},
                                      {{{first, ""}}, "first: 1 second: 0"},
                                      {{{second, ""}}, "first: 0 second: 1"},
                                      {{{first, "0"}, {second, "no"}}, "first: 1 second: 1"}};
    for (const OptionalHookCase& each : cases) {
        SCOPED_TRACE(each.answer);
        ProbeSettings settings = lookUp("optional-hooks");
        settings.environment.insert(each.environment.begin(), each.environment.end());
        const ProbeOutcome outcome = runWithAgent(settings);
        EXPECT_EQ(outcome.output, (Lines{each.answer, each.answer, "socket: descriptor errno 77"}));
        EXPECT_EQ(traceAfterStartUp(outcome), socketTrace());
    }
}

}  // namespace

}  // namespace veltra::testing
