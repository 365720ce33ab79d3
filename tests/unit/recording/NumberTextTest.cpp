#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "messageText.h"
#include "recording/RecorderMessage.h"

namespace {

using Attribute = RecorderMessageAttribute;

template <typename Value>
struct Number {
    Value value;
    const char* text;
};

template <typename Value>
std::string appended(Value value) {
    PrintBuffer buffer;
    buffer.append(value);
    return textOf(buffer);
}

template <typename Value>
std::string asAttribute(Value value) {
    PrintBuffer buffer;
    buffer.appendAttr(Attribute::length, value);
    return textOf(buffer);
}

std::string attribute(const char* marker, const char* value) {
    return std::string(" length_") + marker + "=\"" + value + "\"";
}

constexpr Number<int> int32Numbers[] = {
    {0, "0"},
    {1, "1"},
    {9, "9"},
    {10, "a"},
    {15, "f"},
    {16, "10"},
    {255, "ff"},
    {256, "100"},
    {4242, "1092"},
    {0x01234567, "1234567"},
    {0x7bcdef89, "7bcdef89"},
    {std::numeric_limits<int>::max(), "7fffffff"},
    {-1, "ffffffff"},
    {-2, "fffffffe"},
    {-256, "ffffff00"},
    {std::numeric_limits<int>::min(), "80000000"},
};

TEST(NumberText, Signed32IsTheBitPattern) {
    for (const auto& [value, text] : int32Numbers) {
        EXPECT_EQ(appended(static_cast<unsigned int>(value)), text);
        EXPECT_EQ(asAttribute(value), attribute("I4", text));
    }
}

constexpr Number<unsigned long> unsigned32Numbers[] = {
    {0, "0"},
    {5, "5"},
    {0xabcdef, "abcdef"},
    {0x7fffffff, "7fffffff"},
    {0x80000000, "80000000"},
    {0xffffffff, "ffffffff"},
    {0x100000000, "0"},
    {0x100000005, "5"},
    {0xfedcba9876543210, "76543210"},
    {std::numeric_limits<unsigned long>::max(), "ffffffff"},
};

TEST(NumberText, Unsigned32DropsTheUpperHalf) {
    for (const auto& [value, text] : unsigned32Numbers) {
        EXPECT_EQ(asAttribute(value), attribute("U4", text));
    }
}

constexpr Number<long long> int64Numbers[] = {
    {0, "0"},
    {7, "7"},
    {16, "10"},
    {0xffffffff, "ffffffff"},
    {0x100000000, "100000000"},
    {1700000000123, "18bcfe5687b"},
    {1700000000123456789, "17979cfe3d85cd15"},
    {0x0fedcba987654321, "fedcba987654321"},
    {std::numeric_limits<long long>::max(), "7fffffffffffffff"},
    {-1, "ffffffffffffffff"},
    {-2, "fffffffffffffffe"},
    {-4294967296, "ffffffff00000000"},
    {std::numeric_limits<long long>::min(), "8000000000000000"},
};

TEST(NumberText, Signed64IsTheBitPattern) {
    for (const auto& [value, text] : int64Numbers) {
        EXPECT_EQ(appended(value), text);
        EXPECT_EQ(asAttribute(value), attribute("I8", text));
    }
}

TEST(NumberText, EveryDigitAtEveryPlace) {
    for (int place = 0; place < 16; ++place) {
        for (unsigned digit = 1; digit < 16; ++digit) {
            const std::string expected =
                "0123456789abcdef"[digit] + std::string(static_cast<std::size_t>(place), '0');
            const auto value =
                static_cast<long long>(static_cast<std::uint64_t>(digit) << (4 * place));
            EXPECT_EQ(appended(value), expected);
            if (place < 8) {
                EXPECT_EQ(appended(digit << (4 * place)), expected);
            }
        }
    }
}

constexpr Number<unsigned short> shortNumbers[] = {
    {0, "0000"},      {1, "0001"},      {0x12, "0012"},   {0x234, "0234"},  {0x0a0b, "0a0b"},
    {0x1234, "1234"}, {0xcdef, "cdef"}, {0x8000, "8000"}, {0xffff, "ffff"},
};

TEST(NumberText, ShortHasFourDigits) {
    for (const auto& [value, text] : shortNumbers) {
        EXPECT_EQ(appended(value), text);
    }
}

TEST(NumberText, ByteHasTwoDigits) {
    for (unsigned value = 0; value < 256; ++value) {
        const char expected[] = {"0123456789abcdef"[value / 16], "0123456789abcdef"[value % 16],
                                 '\0'};
        EXPECT_EQ(appended(static_cast<unsigned char>(value)), expected);
    }
}

TEST(NumberText, FollowsWhatStandsThere) {
    PrintBuffer buffer;
    buffer.append("x", 1);
    buffer.append(-1LL);
    buffer.append("y", 1);
    buffer.append(0U);
    buffer.append(static_cast<unsigned short>(0xa));
    buffer.append(static_cast<unsigned char>(0xb));
    EXPECT_EQ(textOf(buffer), "xffffffffffffffffy0000a0b");
}

}  // namespace
