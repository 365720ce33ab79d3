#include <gtest/gtest.h>

#include <algorithm>

#include "Tally.h"
#include "support/Normaliser.h"

namespace veltra::testing {

namespace {

const std::string lookUp =
    R"(<addrinfo timestamp_I8="T" ticket_I4="N" family_AS="AF_INET" name_AS="127.0.0.1" ip_AS="127.0.0.1"/>)";

ProbeSettings forks(const std::string& scenario, int traceLevel) {
    ProbeSettings settings = probe("forks", scenario);
    settings.traceLevel = traceLevel;
    // A child cannot join the threads of its parent.
    settings.environment["TSAN_OPTIONS"] = "report_thread_leaks=0";
    return settings;
}

class Fork : public ::testing::TestWithParam<int> {};

// The address sanitizer's allocator can be locked in a child for good.
#ifndef __SANITIZE_ADDRESS__
TEST_P(Fork, FromBusyThreadsLeavesEveryHookToTheChildren) {
    const ProbeOutcome outcome = runWithAgent(forks("storm", GetParam()));
    ASSERT_TRUE(endedWell(outcome));
    Tally counts = countsOf(outcome);
    EXPECT_EQ(counts["failures"], 0U);
    const std::size_t children = counts["children"];
    EXPECT_GT(children, 0U);
    EXPECT_EQ(tallyOfProcesses(outcome.messages), (Tally{{processOnce, 1},
                                                         {connectOf("SERVER"), children + 3},
                                                         {sendOf("p", 1), counts["parent sends"]},
                                                         {sendOf("c", 1), children},
                                                         {receiveOf("c", 1), children},
                                                         {lookUp, children},
                                                         {announcementOf("listen"), children},
                                                         {closeOfSocket, children + 3}}));
}
#endif

TEST_P(Fork, LeavesTheHeldMessageToWhoeverSendsFirst) {
    const ProbeOutcome outcome = runWithAgent(forks("held-message", GetParam()));
    ASSERT_TRUE(endedWell(outcome));
    EXPECT_EQ(outcome.output, (Lines{"children: 8", "failures: 0"}));
    EXPECT_EQ(tallyOfProcesses(outcome.messages),
              (Tally{{processOnce, 1}, {announcementOf("listen"), 10}}));
}

TEST_P(Fork, LeavesTheHeldMessageToAChildThatSendsAlone) {
    const ProbeOutcome outcome = runWithAgent(forks("held-message-of-child", GetParam()));
    ASSERT_TRUE(endedWell(outcome));
    EXPECT_EQ(outcome.output, (Lines{"children: 1", "failures: 0"}));
    EXPECT_EQ(tallyOfProcesses(outcome.messages),
              (Tally{{processOnce, 1}, {announcementOf("listen"), 2}}));
}

TEST_P(Fork, HandsDownNoConnectionToTheRecorder) {
    const ProbeOutcome outcome = runWithAgent(forks("inherited-connections", GetParam()));
    ASSERT_TRUE(endedWell(outcome));
    Tally counts = countsOf(outcome);
    EXPECT_EQ(counts["failures"], 0U);
    EXPECT_EQ(tallyOf(outcome.messages), (Tally{{processOnce, 1},
                                                {connectOf("SERVER"), 3},
                                                {sendOf("p", 1), counts["parent sends"]},
                                                {closeOfSocket, 3}}));
}

// A child that was forked before the start-up was far enough has its own, under its own number.
TEST_P(Fork, DuringStartUpLosesNoMessage) {
    const ProbeOutcome outcome = runWithAgent(forks("unfinished-start-ups", GetParam()));
    ASSERT_TRUE(endedWell(outcome));
    Tally counts = countsOf(outcome);
    EXPECT_EQ(counts["failures"], 0U);
    const std::size_t families = counts["children"];
    Lines messages = outcome.messages;
    for (std::string& message : messages) {
        EXPECT_NE(valueOf(message, "pid_I4"), "0");
        message = withoutValues(message, {"pid_I4"});
    }
    Tally tally = tallyOfProcesses(messages);
    EXPECT_EQ(tally[announcementOf("listen")], 2 * families);
    const std::size_t starts = tally[withoutValues(processOnce, {"pid_I4"})];
    EXPECT_GE(starts, families);
    EXPECT_LE(starts, 2 * families);
    EXPECT_EQ(tally.size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Traces, Fork, ::testing::Values(0, 1023));

TEST(ForkTrace, HoldsTheLinesBeforeTheForkOnce) {
    const ProbeOutcome outcome = runWithAgent(forks("buffered-lines", 1023));
    ASSERT_TRUE(endedWell(outcome));
    EXPECT_EQ(outcome.output, (Lines{"children: 1", "failures: 0"}));
    const std::string failedListen = "listen (SOCKET ERROR : 9 ????? : unknown code):";
    Lines expected =
        joined({startUpTrace(),
                {"[RET  ][1]" + failedListen, processTrace(),
                 dataTrace(2, notRecordedMessage("3", "listen")),
                 "[RET  ][3]bind (SOCKET ERROR : 9 ????? : unknown code):",
                 dataTrace(4, notRecordedMessage("5", "bind")), "[RET  ][3]" + failedListen,
                 dataTrace(4, notRecordedMessage("5", "listen"))}});
    Lines lines = outcome.trace;
    std::sort(lines.begin(), lines.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(lines, expected);
}

}  // namespace

}  // namespace veltra::testing
