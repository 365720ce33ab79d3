#include <gtest/gtest.h>

#include "Tally.h"

namespace veltra::testing {

namespace {

class Programs : public ::testing::TestWithParam<int> {
protected:
    static ProbeOutcome run(const std::string& scenario) {
        ProbeSettings settings = probe("programs", scenario);
        settings.traceLevel = GetParam();
        return runProbe(settings);
    }

    // The parent's messages around the start of another program.
    static void expectConversation(const ProbeOutcome& outcome) {
        EXPECT_EQ(tallyOf(outcome.messages), (Tally{{processOnce, 1},
                                                    {connectOf("SERVER"), 1},
                                                    {sendOf("after", 5), 1},
                                                    {closeOfSocket, 1}}));
    }

    static void expectTwoAnnouncements(const ProbeOutcome& outcome) {
        EXPECT_EQ(tallyOf(outcome.messages),
                  (Tally{{processOnce, 1}, {announcementOf("listen"), 2}}));
    }
};

const Lines usedAndClosed = {"child: 7", "send: 5 errno 77", "close: 0 errno 77"};

// The thread sanitizer makes a fork of a vfork.
#ifndef __SANITIZE_THREAD__
TEST_P(Programs, ACloseInAVforkChildLeavesTheParentsConnectionOpen) {
    const ProbeOutcome outcome = run("vfork-closes");
    EXPECT_EQ(outcome.output, usedAndClosed);
    expectConversation(outcome);
}

TEST_P(Programs, AVforkChildExecutes) {
    const ProbeOutcome outcome = run("vfork-executes");
    EXPECT_EQ(outcome.output, joined({{"from a child"}, usedAndClosed}));
    expectConversation(outcome);
}
#endif

TEST_P(Programs, ASpawnedChildRuns) {
    const ProbeOutcome outcome = run("spawns");
    EXPECT_EQ(outcome.output, joined({{"from a child", "posix_spawn: 0 errno 77"}, usedAndClosed}));
    expectConversation(outcome);
}

TEST_P(Programs, AShellRunsACommand) {
    const ProbeOutcome outcome = run("calls-system");
    EXPECT_EQ(outcome.output, (Lines{"from a child", "child: 7"}));
    expectTwoAnnouncements(outcome);
}

TEST_P(Programs, ACommandIsReadThroughAPipe) {
    const ProbeOutcome outcome = run("opens-pipe");
    EXPECT_EQ(outcome.output, (Lines{"line: from a child", "child: 7"}));
    expectTwoAnnouncements(outcome);
}

TEST_P(Programs, ADaemonClosesEverythingAndGoesOn) {
    const ProbeOutcome outcome = run("becomes-daemon");
    EXPECT_EQ(outcome.output, (Lines{"child: 0", "daemon: 0", "arrived: 300"}));
    EXPECT_EQ(tallyOfProcesses(outcome.messages), (Tally{{processOnce, 1},
                                                         {connectOf("SERVER"), 1},
                                                         {sendOf("daemon", 6), 50},
                                                         {closeOfSocket, 1},
                                                         {announcementOf("listen"), 2}}));
}

INSTANTIATE_TEST_SUITE_P(Traces, Programs, ::testing::Values(0, 1023));

}  // namespace

}  // namespace veltra::testing
