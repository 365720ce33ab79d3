#include <gtest/gtest.h>

#include <algorithm>

#include "FaultyRecorder.h"
#include "Tally.h"
#include "support/SocksServer.h"

namespace veltra::testing {

namespace {

// Messages of the conversation "small".
constexpr std::size_t smallMessages = 16;

std::size_t countOfLines(const ProbeOutcome& outcome, const std::string& beginning) {
    return static_cast<std::size_t>(
        std::count_if(outcome.trace.begin(), outcome.trace.end(),
                      [&](const std::string& line) { return line.rfind(beginning, 0) == 0; }));
}

ProbeOutcome talk(const std::string& scenario, std::uint16_t port, int traceLevel) {
    ProbeSettings settings = probe("talk", scenario);
    settings.recorderPort = port;
    settings.traceLevel = traceLevel;
    return runProbe(settings);
}

const std::string failedConnect = "[ERROR]connect() returned SOCKET_ERROR, WSAGetLastError=";
const std::string failedSend = "[ERROR]send() returned SOCKET_ERROR, WSAGetLastError=";
const std::string noTurn = "[ERROR]no turn to send a message within 3 seconds";
const Lines undisturbed = {"descriptors: the same", "signals: 0"};

void expectUndisturbed(const ProbeOutcome& outcome) {
    ASSERT_GE(outcome.output.size(), 2U);
    EXPECT_EQ(Lines(outcome.output.end() - 2, outcome.output.end()), undisturbed);
}

class RecorderFaults : public ::testing::TestWithParam<int> {};

TEST_P(RecorderFaults, ThatItIsAbsentCostsOneTraceForEachMessage) {
    const RefusingPort port;
    const ProbeOutcome outcome = talk("small", port.number(), GetParam());
    expectUndisturbed(outcome);
    const std::size_t expected = GetParam() == 0 ? 0 : smallMessages;
    EXPECT_EQ(countOfLines(outcome, failedConnect + "111 WSAECONNREFUSED : Connection refused"),
              expected);
}

TEST_P(RecorderFaults, ThatItResetsItsConnectionsDisturbsNothing) {
    const FaultyRecorder recorder(RecorderFault::resets);
    expectUndisturbed(talk("small", recorder.port(), GetParam()));
}

TEST_P(RecorderFaults, ThatItDiesInTheMiddleDisturbsNothing) {
    const FaultyRecorder recorder(RecorderFault::dies);
    expectUndisturbed(talk("small", recorder.port(), GetParam()));
}

TEST_P(RecorderFaults, ThatItNeverReadsDisturbsNothing) {
    const FaultyRecorder recorder(RecorderFault::neverReads);
    expectUndisturbed(talk("small", recorder.port(), GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Traces, RecorderFaults, ::testing::Values(0, 1023));

TEST(RecorderFaultLimits, ALargeMessageThatNobodyReadsIsGivenUp) {
    const FaultyRecorder recorder(RecorderFault::neverReads);
    const ProbeOutcome outcome = talk("large", recorder.port(), 1);
    EXPECT_EQ(outcome.output,
              joined({{"socket: 3 errno 77", "connect: 0 errno 77", "send: 16777216 errno 77",
                       "close: 0 errno 77", "arrived: 16777216"},
                      undisturbed}));
    EXPECT_EQ(countOfLines(outcome, failedSend), 1U);
}

TEST(RecorderFaultLimits, AFullQueueIsGivenUp) {
    const FaultyRecorder recorder(RecorderFault::queueIsFull);
    const ProbeOutcome outcome = talk("one", recorder.port(), 1);
    EXPECT_EQ(outcome.output, joined({{"listen: -1 errno 9"}, undisturbed}));
    EXPECT_EQ(countOfLines(outcome, failedConnect), 2U);
}

// The held first message and one of each thread.
TEST(RecorderFaultLimits, WhoWaitsForATurnGivesUpToo) {
    const FaultyRecorder recorder(RecorderFault::queueIsFull);
    const ProbeOutcome outcome = talk("many-at-once", recorder.port(), 1);
    EXPECT_EQ(outcome.output, joined({{"right: 8"}, undisturbed}));
    EXPECT_EQ(countOfLines(outcome, failedConnect) + countOfLines(outcome, noTurn), 9U);
    EXPECT_GT(countOfLines(outcome, noTurn), 0U);
}

}  // namespace

}  // namespace veltra::testing
