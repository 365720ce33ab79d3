#include <gtest/gtest.h>

#include "Tally.h"

namespace veltra::testing {

namespace {

class Churn : public ::testing::TestWithParam<int> {};

ProbeOutcome churn(const std::string& scenario, int traceLevel) {
    ProbeSettings settings = probe("churn", scenario);
    settings.traceLevel = traceLevel;
    return runProbe(settings);
}

TEST_P(Churn, LosesNoEventAndInventsNone) {
    const ProbeOutcome outcome = churn("everything", GetParam());
    EXPECT_EQ(outcome.output, (Lines{"rounds: 480", "failures: 0"}));
    EXPECT_EQ(tallyOf(outcome.messages), (Tally{{processOnce, 1},
                                                {connectOf("SERVER"), 480},
                                                {sendOf("t", 1), 480},
                                                {announcementOf("bind"), 480},
                                                {announcementOf("listen"), 480},
                                                {acceptFromClient, 480},
                                                {closeOfSocket, 2 * 480}}));
    if (GetParam() != 0) expectWholeTrace(outcome);
}

TEST_P(Churn, ASocketHasNoMarksOfOneThatWasClosedUnseen) {
    const ProbeOutcome outcome = churn("unseen-closes", GetParam());
    EXPECT_EQ(outcome.output, (Lines{"rounds: 900", "failures: 0"}));
    EXPECT_EQ(tallyOf(outcome.messages),
              (Tally{{processOnce, 1}, {connectOf("SERVER"), 900}, {sendOf("u", 1), 900}}));
}

INSTANTIATE_TEST_SUITE_P(Traces, Churn, ::testing::Values(0, 1023));

}  // namespace

}  // namespace veltra::testing
