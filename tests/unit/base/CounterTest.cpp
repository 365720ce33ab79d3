#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <thread>
#include <type_traits>
#include <vector>

#include "base/Counter.h"
#include "support/FreshProcess.h"

// The numbers are the process's own, so that every test here counts in a process of its own.

namespace {

using veltra::testing::inFreshProcess;

TEST(Counter, Widths) {
    static_assert(std::is_same_v<decltype(getTicket()), long long>);
    static_assert(std::is_same_v<decltype(getGlobalCpt()), std::int32_t>);
    static_assert(std::is_same_v<decltype(getInternalCpt()), std::int32_t>);
}

TEST(Counter, EachSequenceBeginsAtOneAndCountsAlone) {
    inFreshProcess([] {
        EXPECT_EQ(getTicket(), 1);
        EXPECT_EQ(getTicket(), 2);
        EXPECT_EQ(getTicket(), 3);
        EXPECT_EQ(getGlobalCpt(), 1);
        EXPECT_EQ(getGlobalCpt(), 2);
        EXPECT_EQ(getInternalCpt(), 1);
        EXPECT_EQ(getTicket(), 4);
        EXPECT_EQ(getGlobalCpt(), 3);
        EXPECT_EQ(getInternalCpt(), 2);
    });
}

TEST(Counter, CountsOnWhateverIsDoneWithTheLocks) {
    inFreshProcess([] {
        initializeCounter();
        EXPECT_EQ(getTicket(), 1);
        EXPECT_EQ(getGlobalCpt(), 1);
        EXPECT_EQ(getInternalCpt(), 1);
        cleanCounter();
        EXPECT_EQ(getTicket(), 2);
        EXPECT_EQ(getGlobalCpt(), 2);
        EXPECT_EQ(getInternalCpt(), 2);
    });
}

// Every number from several threads at once, and from before and after them, in ascending order.
template <typename Number>
std::vector<Number> takeFromThreads(Number (*next)()) {
    constexpr int threadCount = 4;
    constexpr int callCount = 20000;
    std::vector<Number> all = {next(), next()};
    std::vector<std::vector<Number>> taken(threadCount);
    std::vector<std::thread> threads;
    for (std::vector<Number>& mine : taken) {
        threads.emplace_back([&mine, next] {
            for (int call = 0; call < callCount; ++call)
                mine.push_back(next());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const std::vector<Number>& mine : taken) {
        EXPECT_TRUE(std::is_sorted(mine.begin(), mine.end()));
        all.insert(all.end(), mine.begin(), mine.end());
    }
    all.push_back(next());
    std::sort(all.begin(), all.end());
    return all;
}

template <typename Number>
void expectNoGapAndNoRepetition(Number (*next)()) {
    const std::vector<Number> numbers = takeFromThreads(next);
    std::vector<Number> expected(80003);
    std::iota(expected.begin(), expected.end(), Number{1});
    EXPECT_TRUE(numbers == expected);
}

TEST(Counter, ThreadsNeverGetTheSameNumber) {
    inFreshProcess([] {
        expectNoGapAndNoRepetition(&getTicket);
        expectNoGapAndNoRepetition(&getGlobalCpt);
        expectNoGapAndNoRepetition(&getInternalCpt);
    });
}

}  // namespace
