#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "base/utils.h"

namespace {

TEST(TextUtilities, LengthOfAText) {
    static_assert(std::is_same_v<decltype(Mystrlen("")), std::uint32_t>);
    EXPECT_EQ(Mystrlen(""), 0U);
    EXPECT_EQ(Mystrlen("a"), 1U);
    EXPECT_EQ(Mystrlen("abc\0def"), 3U);
    EXPECT_EQ(Mystrlen(std::string(100000, 'x').c_str()), 100000U);
}

TEST(TextUtilities, OnlyTheLettersAToZTurnIntoLowerCase) {
    std::string text;
    std::string expected;
    for (int character = 1; character <= 255; ++character) {
        text.push_back(static_cast<char>(character));
        const bool upper = character >= 'A' && character <= 'Z';
        expected.push_back(static_cast<char>(upper ? character + 32 : character));
    }
    Mystrtolower(text.data());
    EXPECT_EQ(text, expected);
}

TEST(TextUtilities, LowerCaseStopsAtTheTerminator) {
    std::string text("AB\0CD", 5);
    Mystrtolower(text.data());
    EXPECT_EQ(text, std::string("ab\0CD", 5));
    char empty[] = "";
    Mystrtolower(empty);
    EXPECT_STREQ(empty, "");
}

TEST(TextUtilities, FillsExactlyTheCountedBytes) {
    std::string buffer = "abcdef";
    Mymemset(buffer.data() + 1, 'x', 3);
    EXPECT_EQ(buffer, "axxxef");
    Mymemset(buffer.data(), '\xff', 1);
    EXPECT_EQ(buffer, "\xffxxxef");
    Mymemset(buffer.data(), 'y', 0);
    EXPECT_EQ(buffer, "\xffxxxef");
}

}  // namespace
