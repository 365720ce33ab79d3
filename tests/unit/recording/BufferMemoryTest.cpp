#include <gtest/gtest.h>

#include <cstring>

#include "recording/bufferMemory.h"

namespace {

class BufferMemory : public testing::TestWithParam<std::size_t> {};

TEST_P(BufferMemory, CanBeWrittenToItsLastByte) {
    const std::size_t size = GetParam();
    char* const buffer = allocateBuffer(size);
    ASSERT_NE(buffer, nullptr);
    std::memset(buffer, 'x', size);
    EXPECT_EQ(buffer[size - 1], 'x');
    releaseBuffer(buffer, size);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BufferMemory,
                         testing::Values(8192, (1 << 20) - 8192, 1 << 20, 16 << 20));

TEST(BufferMemoryOf, MoreThanThereIsIsNull) {
    EXPECT_EQ(allocateBuffer(std::size_t{1} << 60), nullptr);
}

TEST(BufferMemoryOf, NothingIsGivenBackWithoutHarm) {
    releaseBuffer(nullptr, 8192);
    releaseBuffer(nullptr, 16 << 20);
}

}  // namespace
