#include <gtest/gtest.h>

#include "Tally.h"

namespace veltra::testing {

namespace {

struct Storm {
    const char* name;
    const char* work;
    const char* threads;
    int traceLevel;
};

class SignalStorm : public ::testing::TestWithParam<Storm> {};

TEST_P(SignalStorm, HangsNothingAndLosesNothing) {
    const Storm& storm = GetParam();
    ProbeSettings settings = probe("signals", storm.work);
    settings.arguments.emplace_back(storm.threads);
    settings.traceLevel = storm.traceLevel;
    // The program's first call may be one in a handler, and so starts the agent there.
    settings.environment["TSAN_OPTIONS"] = "report_signal_unsafe=0";
    const ProbeOutcome outcome = runWithAgent(settings);

    ASSERT_TRUE(endedWell(outcome));
    Tally counts = countsOf(outcome);
    EXPECT_EQ(counts["failures"], 0U);
    EXPECT_GT(counts["handled"], 1000U);
    EXPECT_EQ(counts["pipe writes"], counts["handled"]);
    EXPECT_EQ(counts["pipe reads"], counts["pipe writes"]);
    EXPECT_EQ(counts["arrived"], counts["sends"] + counts["writes"] + counts["handler sends"]);

    const std::size_t connects = std::stoul(storm.threads) + counts["handler connects"];
    Tally expected = {{processOnce, 1},
                      {connectOf("SERVER"), connects},
                      {sendOf("m", 1), counts["sends"]},
                      {sendOf("w", 1), counts["writes"]},
                      {announcementOf("listen"), counts["listens"]},
                      {closeOfSocket, connects}};
    if (counts["handler sends"] > 0) expected[sendOf("h", 1)] = counts["handler sends"];
    EXPECT_EQ(tallyOf(outcome.messages), expected);
    if (storm.traceLevel != 0) expectWholeTrace(outcome);
}

std::string nameOf(const ::testing::TestParamInfo<Storm>& storm) {
    return storm.param.name;
}

INSTANTIATE_TEST_SUITE_P(Handlers, SignalStorm,
                         ::testing::Values(Storm{"PipeOneThread", "pipe", "1", 0},
                                           Storm{"PipeManyThreads", "pipe", "4", 0},
                                           Storm{"PipeOneThreadTraced", "pipe", "1", 1023},
                                           Storm{"PipeManyThreadsTraced", "pipe", "4", 1023}),
                         nameOf);

// A handler that sends would find the sanitizers' own locks held.
#ifndef VELTRA_SANITIZED
INSTANTIATE_TEST_SUITE_P(
    SendingHandlers, SignalStorm,
    ::testing::Values(Storm{"SameSocketOneThread", "same-socket", "1", 0},
                      Storm{"SameSocketManyThreads", "same-socket", "4", 0},
                      Storm{"SameSocketOneThreadTraced", "same-socket", "1", 1023},
                      Storm{"SameSocketManyThreadsTraced", "same-socket", "4", 1023},
                      Storm{"NewSocketOneThread", "new-socket", "1", 0},
                      Storm{"NewSocketManyThreads", "new-socket", "4", 0},
                      Storm{"NewSocketOneThreadTraced", "new-socket", "1", 1023},
                      Storm{"NewSocketManyThreadsTraced", "new-socket", "4", 1023}),
    nameOf);
#endif

}  // namespace

}  // namespace veltra::testing
