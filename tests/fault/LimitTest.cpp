#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

#include "Tally.h"
#include "recorder/Recorder.h"
#include "support/Normaliser.h"

namespace veltra::testing {

namespace {

ProbeOutcome limits(const std::string& scenario, int traceLevel) {
    ProbeSettings settings = probe("limits", scenario);
    settings.traceLevel = traceLevel;
    return runProbe(settings);
}

class Limits : public ::testing::TestWithParam<int> {};

TEST_P(Limits, FifteenThousandSocketsAreKnown) {
    const ProbeOutcome outcome = limits("many-sockets", GetParam());
    EXPECT_EQ(outcome.output, (Lines{"arrived: 150", "failures: 0"}));
    EXPECT_EQ(tallyOf(outcome.messages), (Tally{{processOnce, 1},
                                                {connectOf("SERVER"), 150},
                                                {sendOf("m", 1), 150},
                                                {closeOfSocket, 150}}));
}

#ifndef VELTRA_SANITIZED
// Of an event that there is no memory for, a trace is left at the most.
TEST_P(Limits, AMessageWithoutRoomIsLostAlone) {
    const ProbeOutcome outcome = limits("no-room-for-message", GetParam());
    EXPECT_EQ(outcome.output, (Lines{"arrived: 16777236", "failures: 0"}));
    EXPECT_EQ(tallyOf(outcome.messages), (Tally{{processOnce, 1},
                                                {connectOf("SERVER"), 1},
                                                {sendOf("before", 6), 1},
                                                {sendOf("meanwhile", 9), 1},
                                                {sendOf("after", 5), 1},
                                                {closeOfSocket, 1}}));
}

TEST_P(Limits, AStartUpWithoutRoomLeavesTheProgramToItself) {
    const ProbeOutcome outcome = limits("no-room-for-start-up", GetParam());
    EXPECT_EQ(outcome.output, Lines{"failures: 0"});
}
#endif

TEST_P(Limits, ATraceWithoutRoomEndsAndTheProgramGoesOn) {
    const ProbeOutcome outcome = limits("no-room-for-trace", GetParam());
    EXPECT_EQ(outcome.output, (Lines{"arrived: 0", "failures: 0"}));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.trace, Lines{});
    EXPECT_EQ(tallyOf(outcome.messages),
              (Tally{{processOnce, 1}, {connectOf("SERVER"), 50}, {closeOfSocket, 50}}));
}

INSTANTIATE_TEST_SUITE_P(Traces, Limits, ::testing::Values(0, 1023));

// A message is whole, or it was given up with a trace: with as many as these some may have to wait
// for too long on a machine that is busy.
TEST(LimitOfPayload, SixteenMebibytesOfEachThreadAreRecordedWhole) {
    std::mutex mutex;
    Lines messages;
    Recorder recorder([&](std::string_view message) {
        const std::lock_guard lock(mutex);
        messages.emplace_back(message);
    });
    ProbeSettings settings = probe("limits", "large-payloads");
    settings.recorderPort = recorder.port();
    settings.traceLevel = 1;
    const ProbeOutcome outcome = runProbe(settings);
    recorder.stop();
    EXPECT_EQ(outcome.output, (Lines{"arrived: 134217728", "failures: 0"}));
    std::size_t whole = 0;
    for (const std::string& message : messages) {
        if (message.rfind("<send ", 0) != 0) continue;
        EXPECT_EQ(valueOf(message, "length_U4"), "1000000");
        EXPECT_TRUE(valueOf(message, "data_AS") == std::string(16 << 20, 'x'));
        EXPECT_EQ(message.substr(message.size() - 3), "/>\n");
        ++whole;
    }
    const auto isGivenUp = [](const std::string& line) {
        return line == "[ERROR]no turn to send a message within 3 seconds";
    };
    EXPECT_LE(whole, 8U);
    EXPECT_GE(whole + static_cast<std::size_t>(
                          std::count_if(outcome.trace.begin(), outcome.trace.end(), isGivenUp)),
              8U);
}

}  // namespace

}  // namespace veltra::testing
