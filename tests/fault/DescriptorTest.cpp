#include <gtest/gtest.h>

#include "FaultyRecorder.h"
#include "Tally.h"

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
