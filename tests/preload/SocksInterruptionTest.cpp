#include <gtest/gtest.h>

#include "ExpectedText.h"
#include "support/SocksServer.h"

namespace veltra::testing {

namespace {

ProbeOutcome runInterrupted(const std::string& scenario, int traceLevel) {
    ProbeSettings settings = probe("socksInterruptions", scenario);
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS"] = "127.0.0.1";
    settings.traceLevel = traceLevel;
    return runWithAgent(settings);
}

class InterruptedRerouting : public ::testing::TestWithParam<int> {};

// Nothing may come between the bytes of the exchange: a handler is told to try again.
TEST_P(InterruptedRerouting, GoesOnWhereAHandlerCallsOnItsSocket) {
    EXPECT_EQ(runInterrupted("handler-calls", GetParam()).output,
              (Lines{"send: -1 errno 11", "write: -1 errno 11", "sendto: -1 errno 11",
                     "sendmsg: -1 errno 11", "recv: -1 errno 11", "read: -1 errno 11",
                     "recvfrom: -1 errno 11", "recvmsg: -1 errno 11", "connect: -1 errno 114",
                     "rerouted: 0 errno 0", "send: 4 errno 77", "request: 10", "afterwards: 4"}));
}

TEST_P(InterruptedRerouting, LeavesNothingLockedWhereAHandlerJumpsOut) {
    EXPECT_EQ(runInterrupted("handler-jumps", GetParam()).output,
              (Lines{"send: 4 errno 77", "send: 4 errno 77", "after the jump: 8",
                     "can be cancelled: 1"}));
}

TEST_P(InterruptedRerouting, ComesToItsEndInACancelledThread) {
    EXPECT_EQ(runInterrupted("cancelled", GetParam()).output,
              (Lines{"rerouted: 0", "request: 10", "cancelled: 1", "non-blocking: 1",
                     "send: 4 errno 77", "afterwards: 4"}));
}

INSTANTIATE_TEST_SUITE_P(Traces, InterruptedRerouting, ::testing::Values(0, 1023));

}  // namespace

}  // namespace veltra::testing
