#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "base/agentMemory.h"

namespace {

class AgentMemory : public testing::TestWithParam<std::size_t> {};

TEST_P(AgentMemory, CanBeWrittenToItsLastByte) {
    const std::size_t size = GetParam();
    auto* const memory = static_cast<char*>(allocateMemory(size));
    ASSERT_NE(memory, nullptr);
    std::memset(memory, 'x', size);
    EXPECT_EQ(memory[size - 1], 'x');
    releaseMemory(memory, size);
}

TEST_P(AgentMemory, BelongsToOneAtATime) {
    constexpr int count = 8;
    const std::size_t size = GetParam();
    std::vector<char*> pieces;
    for (int i = 0; i < count; ++i) {
        pieces.push_back(static_cast<char*>(allocateMemory(size)));
        ASSERT_NE(pieces.back(), nullptr);
        std::memset(pieces.back(), 'a' + i, size);
    }
    for (int i = 0; i < count; ++i) {
        const std::vector<char> expected(size, static_cast<char>('a' + i));
        EXPECT_EQ(std::memcmp(pieces[static_cast<std::size_t>(i)], expected.data(), size), 0);
        releaseMemory(pieces[static_cast<std::size_t>(i)], size);
    }
}

TEST_P(AgentMemory, IsAlignedForEveryType) {
    void* const memory = allocateMemory(GetParam());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignof(std::max_align_t), 0U);
    releaseMemory(memory, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Sizes, AgentMemory,
                         testing::Values(1, 32, 33, 400, 4095, 4096, 4097, 8192, 8193, 12288,
                                         (1 << 20) - 8192, 1 << 20, (1 << 20) + 1, 16 << 20));

TEST(AgentMemoryOf, MoreThanThereIsIsNull) {
    EXPECT_EQ(allocateMemory(std::size_t{1} << 60), nullptr);
}

TEST(AgentMemoryOf, NothingIsGivenBackWithoutHarm) {
    releaseMemory(nullptr, 16);
    releaseMemory(nullptr, 8192);
    releaseMemory(nullptr, 16 << 20);
}

TEST(AgentMemoryOf, AMessageIsHandedOutAgain) {
    void* const first = allocateMemory(8192);
    releaseMemory(first, 8192);
    EXPECT_EQ(allocateMemory(8192), first);
    releaseMemory(first, 8192);
}

TEST(AgentMemoryOf, ASmallPieceIsHandedOutAgain) {
    void* const first = allocateMemory(100);
    releaseMemory(first, 100);
    EXPECT_EQ(allocateMemory(128), first);
}

TEST(AgentMemoryOf, ManySmallPiecesAreAllDifferent) {
    std::set<void*> pieces;
    for (int i = 0; i < 5000; ++i)
        pieces.insert(allocateMemory(48));
    EXPECT_EQ(pieces.size(), 5000U);
    EXPECT_EQ(pieces.count(nullptr), 0U);
}

TEST(AgentMemoryOf, IsSharedByThreads) {
    const auto work = [] {
        for (int i = 0; i < 2000; ++i) {
            const std::size_t size = i % 2 == 0 ? 8192 : 64;
            auto* const memory = static_cast<int*>(allocateMemory(size));
            *memory = i;
            EXPECT_EQ(*memory, i);
            releaseMemory(memory, size);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
