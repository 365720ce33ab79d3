#include <gtest/gtest.h>

#include <string>

#include "tools/Shell.h"

namespace veltra::testing {

namespace {

struct EscapingCost {
    const char* payload;
    double instructionsPerByte;  // at most
};

// A benchmark's seconds differ from run to run; instructions do not.
class EscapingInstructions : public ::testing::TestWithParam<EscapingCost> {};

long instructionsOf(const std::string& payload, int rounds) {
    const Outcome outcome =
        run("valgrind --tool=callgrind "
            "--callgrind-out-file=/dev/null " VELTRA_ESCAPING_COST_PROBE " " +
            payload + " " + std::to_string(rounds));
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
    const std::string label = "Collected : ";
    const std::size_t begin = outcome.errors.find(label);
    EXPECT_NE(begin, std::string::npos) << outcome.errors;
    return begin == std::string::npos ? 0 : std::stol(outcome.errors.substr(begin + label.size()));
}

TEST_P(EscapingInstructions, StayWithinTheirBound) {
    constexpr int rounds = 8;
    constexpr double bytes = 64.0 * 1024 * rounds;
    const long once = instructionsOf(GetParam().payload, rounds);
    const long twice = instructionsOf(GetParam().payload, 2 * rounds);
    const double perByte = static_cast<double>(twice - once) / bytes;
    EXPECT_LE(perByte, GetParam().instructionsPerByte);
    EXPECT_GT(perByte, 0);
}

INSTANTIATE_TEST_SUITE_P(Payloads, EscapingInstructions,
                         ::testing::Values(EscapingCost{"text", 12.5}, EscapingCost{"printable", 8},
                                           EscapingCost{"random", 20},
                                           EscapingCost{"newlines", 20}),
                         [](const auto& test) { return std::string(test.param.payload); });

}  // namespace

}  // namespace veltra::testing
