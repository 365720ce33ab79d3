#include <gtest/gtest.h>

#include "FaultyRecorder.h"
#include "Tally.h"

namespace veltra::testing {

namespace {

struct Cancelled {
    const char* where;
    const char* type;
    int traceLevel;
};

ProbeSettings cancelled(const Cancelled& how) {
    ProbeSettings settings = probe("cancellation", how.where);
    settings.arguments.emplace_back(how.type);
    settings.traceLevel = how.traceLevel;
    return settings;
}

class Cancellation : public ::testing::TestWithParam<std::tuple<const char*, const char*, int>> {
protected:
    static Cancelled how() {
        const auto [where, type, traceLevel] = GetParam();
        return {where, type, traceLevel};
    }
};

TEST_P(Cancellation, LeavesNoLockHeldAndNoDescriptorOpen) {
    const ProbeOutcome outcome = runProbe(cancelled(how()));
    EXPECT_EQ(outcome.output, (Lines{"descriptors: the same", "failures: 0"}));
    if (how().traceLevel != 0) expectWholeTrace(outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, Cancellation,
    ::testing::Combine(::testing::Values("read", "recv", "recvfrom", "recvmsg", "select", "pselect",
                                         "accept", "connect", "send", "write", "sendto", "sendmsg"),
                       ::testing::Values("deferred", "asynchronous"), ::testing::Values(0, 1023)));

// Of a thread that goes in the middle of a call nobody knows how far it came.
class CancellationAnywhere : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

TEST_P(CancellationAnywhere, LosesNoFinishedCall) {
    const auto [type, traceLevel] = GetParam();
    const ProbeOutcome outcome = runWithAgent(cancelled({"anywhere", type, traceLevel}));
    ASSERT_TRUE(endedWell(outcome));
    EXPECT_EQ(outcome.output[0], "descriptors: the same");
    Tally counts = countsOf(outcome);
    EXPECT_EQ(counts["failures"], 0U);
    const std::size_t recorded = tallyOf(outcome.messages)[sendOf("s", 1)];
    EXPECT_GE(recorded, counts["finished"]);
    EXPECT_LE(recorded, counts["begun"]);
}

// A thread that goes in the middle of a sanitizer's own work takes that one's locks along.
#ifdef VELTRA_SANITIZED
const auto typesAnywhere = ::testing::Values("deferred");
#else
const auto typesAnywhere = ::testing::Values("deferred", "asynchronous");
#endif

INSTANTIATE_TEST_SUITE_P(Types, CancellationAnywhere,
                         ::testing::Combine(typesAnywhere, ::testing::Values(0, 1023)));

class CancelledDelivery : public ::testing::TestWithParam<const char*> {};

TEST_P(CancelledDelivery, ToAStuckRecorderLeavesNoDescriptorOpen) {
    const FaultyRecorder recorder(RecorderFault::neverReads);
    ProbeSettings settings = cancelled({"stuck-recorder", GetParam(), 1});
    settings.recorderPort = recorder.port();
    const ProbeOutcome outcome = runProbe(settings);
    EXPECT_EQ(outcome.output, (Lines{"descriptors: the same", "failures: 0"}));
}

INSTANTIATE_TEST_SUITE_P(Types, CancelledDelivery, typesAnywhere);

}  // namespace

}  // namespace veltra::testing
