#include <gtest/gtest.h>

#include <climits>

#include "ScriptedSystem.h"
#include "base/utils.h"

namespace {

long long coreTime = 0;

long long currentCoreTime() {
    return coreTime;
}

class Clocks : public ::testing::Test {
protected:
    ~Clocks() override { getCurrentTimePtr.store(nullptr); }

    static void setClock(long long seconds, long nanoseconds) {
        scriptedSystem.clock = timespec{static_cast<time_t>(seconds), nanoseconds};
    }
    static void loadCore(long long time) {
        coreTime = time;
        getCurrentTimePtr.store(&currentCoreTime);
    }

private:
    ScriptedSystemScope scope_;
};

long long milliseconds(const timespec& time) {
    return static_cast<long long>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

TEST_F(Clocks, MillisecondsAreTheSystemClocks) {
    timespec before;
    timespec after;
    clock_gettime(CLOCK_REALTIME, &before);
    const long long now = getTimeStamp();
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_GE(now, milliseconds(before));
    EXPECT_LE(now, milliseconds(after));
}

TEST_F(Clocks, MillisecondsAreCutAndNotRounded) {
    setClock(1709640000, 250000000);  // a day's 12:00:00.250 UTC
    EXPECT_EQ(getTimeStamp(), 1709640000250);
    setClock(1709640000, 999999);
    EXPECT_EQ(getTimeStamp(), 1709640000000);
    setClock(1709640000, 999999999);
    EXPECT_EQ(getTimeStamp(), 1709640000999);
    setClock(5000000000, 1000000);
    EXPECT_EQ(getTimeStamp(), 5000000000001);
}

TEST_F(Clocks, ElapsedMillisecondsAreADifferenceWithoutChecks) {
    setClock(1709640000, 250000000);
    EXPECT_EQ(getElapsedTime(1709640000000), 250);
    EXPECT_EQ(getElapsedTime(1709640000250), 0);
    EXPECT_EQ(getElapsedTime(1709640000251), -1);
    EXPECT_EQ(getElapsedTime(0), 1709640000250);
    EXPECT_EQ(getElapsedTime(-1), 1709640000251);
}

TEST_F(Clocks, NoNanosecondsWithoutARecorderCore) {
    EXPECT_EQ(getTimeStampNs(), -1);
    for (const long long start : {0LL, -1LL, 1LL, -2LL, LLONG_MAX, LLONG_MIN}) {
        EXPECT_EQ(getElapsedTimeNs(start), -1) << start;
    }
}

TEST_F(Clocks, NanosecondsAreTheRecorderCoresUnchanged) {
    for (const long long time : {0LL, 1LL, -2LL, 1709640000250000001LL, LLONG_MAX, LLONG_MIN}) {
        loadCore(time);
        EXPECT_EQ(getTimeStampNs(), time);
    }
}

TEST_F(Clocks, ElapsedNanoseconds) {
    loadCore(1709640000250000001);
    EXPECT_EQ(getElapsedTimeNs(1709640000000000000), 250000001);
    EXPECT_EQ(getElapsedTimeNs(1709640000250000001), 0);
    EXPECT_EQ(getElapsedTimeNs(1709640000250000002), -1);
    EXPECT_EQ(getElapsedTimeNs(1709640000250000003), -2);
    EXPECT_EQ(getElapsedTimeNs(0), 1709640000250000001);
    EXPECT_EQ(getElapsedTimeNs(-2), 1709640000250000003);
}

TEST_F(Clocks, NoElapsedNanosecondsWithoutEitherTime) {
    loadCore(1000);
    EXPECT_EQ(getElapsedTimeNs(-1), -1);
    loadCore(-1);
    EXPECT_EQ(getElapsedTimeNs(1000), -1);
}

}  // namespace
