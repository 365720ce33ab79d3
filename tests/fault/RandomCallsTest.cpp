#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "Tally.h"

namespace veltra::testing {

namespace {

// To search for longer: VELTRA_RANDOM_SEEDS=500 <this program> --gtest_filter='*RandomCalls*'
std::uint64_t seedCount() {
    const char* const text = std::getenv("VELTRA_RANDOM_SEEDS");
    return text == nullptr ? 2 : std::strtoull(text, nullptr, 10);
}

class RandomCalls : public ::testing::TestWithParam<int> {};

// Call by call: the result, the error code, the memory, and what the other end got.
TEST_P(RandomCalls, GiveWhatTheyGiveWithoutTheAgent) {
    for (std::uint64_t seed = 1; seed <= seedCount(); ++seed) {
        ProbeSettings settings = probe("randomCalls", std::to_string(seed));
        settings.arguments.emplace_back("2000");
        settings.traceLevel = GetParam();
        const ProbeOutcome bare = runBare(settings);
        const ProbeOutcome outcome = runWithAgent(settings);
        EXPECT_EQ(bare.exitStatus, 0);
        ASSERT_EQ(outcome.exitStatus, 0) << "seed " << seed;
        EXPECT_EQ(outcome.errors, "");
        ASSERT_EQ(outcome.output.size(), bare.output.size());
        const auto [one, other] =
            std::mismatch(bare.output.begin(), bare.output.end(), outcome.output.begin());
        ASSERT_TRUE(one == bare.output.end())
            << "seed " << seed << "\nbare:  " << *one << "\nagent: " << *other;
    }
}

INSTANTIATE_TEST_SUITE_P(Traces, RandomCalls, ::testing::Values(0, 1023));

}  // namespace

}  // namespace veltra::testing
