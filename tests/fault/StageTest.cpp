#include <gtest/gtest.h>

#include "Tally.h"
#include "recorder/Recorder.h"

namespace veltra::testing {

namespace {

const Lines stages = {"library loaded", "object made",      "main",
                      "exit handler",   "object destroyed", "library unloaded"};

Lines rightIn(const Lines& names) {
    Lines lines;
    for (const std::string& name : names)
        lines.push_back(name + ": right");
    return lines;
}

class Stages : public ::testing::TestWithParam<int> {
protected:
    // The server that the probe talks to is a recorder as well: it reads whatever comes.
    ProbeSettings stagesWith(const std::string& library) {
        ProbeSettings settings;
        settings.program = VELTRA_PROBE_DIRECTORY "/veltra_probe_stages";
        settings.nextLibrary = library;
        settings.traceLevel = GetParam();
        settings.environment["STAGE_SERVER"] = std::to_string(server_.port());
        return settings;
    }

    // Every stage's conversation, for as many as there were.
    Tally conversations(const Tally& talks) const {
        Tally expected = {{processOnce, 1}};
        for (const auto& [stage, count] : talks) {
            expected[sendOf(stage, stage.size())] = count;
            expected[connectToServer()] += count;
            expected[closeOfSocket] += count;
        }
        return expected;
    }

private:
    std::string connectToServer() const {
        char digits[8];
        std::snprintf(digits, sizeof(digits), "%x", unsigned{server_.port()});
        return connectOf(digits);
    }

    Recorder server_{[](std::string_view) {}};
};

TEST_P(Stages, OfAProcessAreAllRecorded) {
    const ProbeOutcome outcome = runProbe(stagesWith(VELTRA_EARLY_LIBRARY));
    EXPECT_EQ(outcome.output, rightIn(stages));
    Tally talks;
    for (const std::string& stage : stages)
        talks[stage] = 1;
    EXPECT_EQ(tallyOf(outcome.messages), conversations(talks));
    if (GetParam() != 0) expectWholeTrace(outcome);
}

TEST_P(Stages, OfThreadsAreAllRecorded) {
    ProbeSettings settings = stagesWith("");
    settings.arguments = {"threads"};
    const ProbeOutcome outcome = runWithAgent(settings);
    ASSERT_TRUE(endedWell(outcome));
    EXPECT_EQ(tallyOf(outcome.messages), conversations({{"object made", 1},
                                                        {"main", 1},
                                                        {"thread", 8},
                                                        {"thread object destroyed", 8},
                                                        {"exit handler", 1},
                                                        {"object destroyed", 1}}));
    if (GetParam() != 0) expectWholeTrace(outcome);
}

#ifdef VELTRA_WRITING_ALLOCATOR
// The allocator is called while the agent starts, and by whatever the agent calls.
TEST_P(Stages, OfAnAllocatorThatWritesAreAllPassedThrough) {
    ProbeSettings settings = stagesWith(VELTRA_WRITING_ALLOCATOR);
    settings.arguments = {"threads"};
    const ProbeOutcome outcome = runWithAgent(settings);
    ASSERT_TRUE(endedWell(outcome));
    EXPECT_EQ(tallyOf(outcome.messages), conversations({{"object made", 1},
                                                        {"main", 1},
                                                        {"thread", 8},
                                                        {"thread object destroyed", 8},
                                                        {"exit handler", 1},
                                                        {"object destroyed", 1}}));
    if (GetParam() != 0) expectWholeTrace(outcome);
}
#endif

INSTANTIATE_TEST_SUITE_P(Traces, Stages, ::testing::Values(0, 1023));

}  // namespace

}  // namespace veltra::testing
