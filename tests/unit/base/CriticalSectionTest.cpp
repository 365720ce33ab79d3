#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "base/CriticalSection.h"
#include "support/TraceLog.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::TraceLog;

CriticalSection neverInitialised;

bool isHeld(CriticalSection& section) {
    bool held = false;
    std::thread([&] {
        held = pthread_mutex_trylock(&section) == EBUSY;
        if (!held) pthread_mutex_unlock(&section);
    }).join();
    return held;
}

// A section that refuses what a default one would wait for.
void makeErrorChecking(CriticalSection& section) {
    pthread_mutexattr_t attributes;
    ASSERT_EQ(pthread_mutexattr_init(&attributes), 0);
    ASSERT_EQ(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK), 0);
    ASSERT_EQ(pthread_mutex_init(&section, &attributes), 0);
    ASSERT_EQ(pthread_mutexattr_destroy(&attributes), 0);
}

TEST(CriticalSection, LocksAndUnlocks) {
    CriticalSection section;
    EXPECT_EQ(AllocCriticalSectionBase(&section), 0);
    EXPECT_FALSE(isHeld(section));
    EXPECT_EQ(StartCriticalSectionBase(&section), 0);
    EXPECT_TRUE(isHeld(section));
    EXPECT_EQ(EndCriticalSectionBase(&section), 0);
    EXPECT_FALSE(isHeld(section));
    EXPECT_EQ(FreeCriticalSectionBase(&section), 0);
}

TEST(CriticalSection, IsNotRecursive) {
    CriticalSection section;
    ASSERT_EQ(AllocCriticalSectionBase(&section), 0);
    ASSERT_EQ(StartCriticalSectionBase(&section), 0);
    EXPECT_EQ(pthread_mutex_trylock(&section), EBUSY);
    EXPECT_EQ(EndCriticalSectionBase(&section), 0);
    EXPECT_EQ(FreeCriticalSectionBase(&section), 0);
}

TEST(CriticalSection, ZeroedStorageIsUsable) {
    EXPECT_EQ(StartCriticalSectionBase(&neverInitialised), 0);
    EXPECT_TRUE(isHeld(neverInitialised));
    EXPECT_EQ(EndCriticalSectionBase(&neverInitialised), 0);
    EXPECT_FALSE(isHeld(neverInitialised));
}

TEST(CriticalSection, KeepsThreadsApart) {
    long count = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&count] {
            for (int round = 0; round < 5000; ++round) {
                const CriticalSectionHold hold(neverInitialised);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 20000);
}

TEST(CriticalSection, HoldEndsWithTheScope) {
    {
        const CriticalSectionHold hold(neverInitialised);
        EXPECT_TRUE(isHeld(neverInitialised));
    }
    EXPECT_FALSE(isHeld(neverInitialised));
}

TEST(CriticalSection, ReturnsTheErrorNumberOfThePosixCall) {
    CriticalSection section;
    makeErrorChecking(section);
    ASSERT_EQ(StartCriticalSectionBase(&section), 0);
    EXPECT_EQ(StartCriticalSectionBase(&section), EDEADLK);
    EXPECT_EQ(StartCriticalSectionDisplay(&section, "name", "place", 1), EDEADLK);
    ASSERT_EQ(EndCriticalSectionBase(&section), 0);
    ASSERT_EQ(FreeCriticalSectionBase(&section), 0);
}

TEST(CriticalSection, BaseOperationsLeaveNoTrace) {
    TraceLog log;
    CriticalSection section;
    ASSERT_EQ(AllocCriticalSectionBase(&section), 0);
    ASSERT_EQ(StartCriticalSectionBase(&section), 0);
    ASSERT_EQ(EndCriticalSectionBase(&section), 0);
    ASSERT_EQ(FreeCriticalSectionBase(&section), 0);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(TracedCriticalSection, EachOperationIsTracedAndDone) {
    TraceLog log;
    CriticalSection section;
    EXPECT_EQ(AllocCriticalSectionDisplay(&section, "lists", "create", 12), 0);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]Alloc CS lists in create (12):0"));
    EXPECT_EQ(StartCriticalSectionDisplay(&section, "lists", "insert", 345), 0);
    EXPECT_TRUE(isHeld(section));
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]starting CS lists in insert (345):0"));
    EXPECT_EQ(EndCriticalSectionDisplay(&section, "lists", "insert", -1), 0);
    EXPECT_FALSE(isHeld(section));
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]ending CS lists in insert (-1):0"));
    EXPECT_EQ(FreeCriticalSectionDisplay(&section, "lists", "destroy", 0), 0);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]Free CS lists in destroy (0):0"));
}

TEST(TracedCriticalSection, TracesAreInfoLines) {
    TraceLog log(1023 & ~(1 << 1));
    CriticalSection section;
    EXPECT_EQ(AllocCriticalSectionDisplay(&section, "a", "b", 1), 0);
    EXPECT_EQ(StartCriticalSectionDisplay(&section, "a", "b", 2), 0);
    EXPECT_EQ(EndCriticalSectionDisplay(&section, "a", "b", 3), 0);
    EXPECT_EQ(FreeCriticalSectionDisplay(&section, "a", "b", 4), 0);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(TracedCriticalSection, StartIsTracedBeforeItWaits) {
    TraceLog log;
    ASSERT_EQ(StartCriticalSectionBase(&neverInitialised), 0);
    std::thread waiting([] {
        EXPECT_EQ(StartCriticalSectionDisplay(&neverInitialised, "busy", "wait", 9), 0);
        EXPECT_EQ(EndCriticalSectionBase(&neverInitialised), 0);
    });
    std::vector<std::string> lines;
    while (lines.empty()) {
        lines = log.takeLines();
        std::this_thread::yield();
    }
    EXPECT_THAT(lines, ElementsAre("[INFO ]starting CS busy in wait (9):0"));
    EXPECT_EQ(EndCriticalSectionBase(&neverInitialised), 0);
    waiting.join();
}

TEST(CriticalSection, ThreadNumberIsAlwaysZero) {
    EXPECT_EQ(GetCurrentThreadId(), 0);
    std::thread([] { EXPECT_EQ(GetCurrentThreadId(), 0); }).join();
}

}  // namespace
