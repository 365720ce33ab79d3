#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

class PlainFiles : public ::testing::TestWithParam<const char*> {};

TEST_P(PlainFiles, CostNeitherMemoryNorFormattingNorAMessage) {
    ProbeSettings settings = probe("plainFiles", GetParam());
    settings.nextLibrary = VELTRA_COUNTING_LIBRARY;
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, (Lines{"counting works", "allocations 0, formats 0"}));
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Calls, PlainFiles, ::testing::Values("files", "foreign-sockets"));

}  // namespace

}  // namespace veltra::testing
