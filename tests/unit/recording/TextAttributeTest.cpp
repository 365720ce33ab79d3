#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "messageText.h"
#include "recording/RecorderMessage.h"

namespace {

using Attribute = RecorderMessageAttribute;
using namespace std::string_literals;

template <typename Character>
std::string messageWith(const Character* text, int count) {
    RecorderMessage message(RecorderMessageKind::send, 0);
    message.set(Attribute::data, text, count);
    return textOf(message);
}

template <typename Character>
std::string attributeWith(const Character* text, unsigned long count) {
    PrintBuffer buffer;
    buffer.appendAttr(Attribute::name, text, count);
    return textOf(buffer);
}

TEST(TextAttribute, CountsBytes) {
    EXPECT_EQ(messageWith("GET /index", 5), "<send data_AS=\"GET /\"");
    EXPECT_EQ(messageWith("GET /", 5), "<send data_AS=\"GET /\"");
    EXPECT_EQ(attributeWith("abc", 1), " name_AS=\"a\"");
}

TEST(TextAttribute, CountOfZeroMeansTheWholeText) {
    EXPECT_EQ(messageWith("whole text", 0), "<send data_AS=\"whole text\"");
    EXPECT_EQ(messageWith("up\0to zero", 0), "<send data_AS=\"up\"");
    EXPECT_EQ(attributeWith("whole text", 0), " name_AS=\"whole text\"");
}

TEST(TextAttribute, EmptyTextGivesAnEmptyValue) {
    EXPECT_EQ(messageWith("", 0), "<send data_AS=\"\"");
    EXPECT_EQ(attributeWith("", 0), " name_AS=\"\"");
    EXPECT_EQ(messageWith(L"", 0), "<send data_UN=\"\"");
    EXPECT_EQ(attributeWith(L"", 0), " name_UN=\"\"");
}

TEST(TextAttribute, NullTextGivesNoAttribute) {
    for (const int count : {0, 1, 5}) {
        EXPECT_EQ(messageWith(static_cast<const char*>(nullptr), count), "<send");
        EXPECT_EQ(messageWith(static_cast<const wchar_t*>(nullptr), count), "<send");
    }
    EXPECT_EQ(attributeWith(static_cast<const char*>(nullptr), 3), "");
    EXPECT_EQ(attributeWith(static_cast<const wchar_t*>(nullptr), 3), "");
}

TEST(TextAttribute, NegativeCountGivesNoAttribute) {
    for (const int count : {-1, -2, INT_MIN}) {
        EXPECT_EQ(messageWith("text", count), "<send");
        EXPECT_EQ(messageWith(L"text", count), "<send");
        EXPECT_EQ(messageWith(static_cast<const char*>(nullptr), count), "<send");
        EXPECT_EQ(messageWith(static_cast<const wchar_t*>(nullptr), count), "<send");
    }
}

TEST(TextAttribute, ZeroBytesInsideTheCountAreData) {
    EXPECT_EQ(messageWith("a\0b\0\0", 5), "<send data_AS=\"a\\x00b\\x00\\x00\"");
    EXPECT_EQ(attributeWith("\0", 1), " name_AS=\"\\x00\"");
}

TEST(TextAttribute, WideTexts) {
    EXPECT_EQ(messageWith(L"wide", 0), "<send data_UN=\"wide\"");
    EXPECT_EQ(messageWith(L"wide", 2), "<send data_UN=\"wi\"");
    EXPECT_EQ(attributeWith(L"<\n\"&\t\\>'", 0),
              " name_UN=\"&#x3c;&#x0a;&#x22;&#x26;&#x09;\\\\>'\"");
    EXPECT_EQ(attributeWith(L"a\0b", 3), " name_UN=\"a\\x00b\"");
    EXPECT_EQ(attributeWith(L"a\0b", 0), " name_UN=\"a\"");
}

struct WideCharacter {
    wchar_t character;
    const char* text;
};

// Above 255 only the low byte is left, and the comparison is signed.
constexpr WideCharacter wideCharacters[] = {
    {0x41, "A"},           {0x7E, "~"},       {0x7F, "\\x7f"},    {0xFF, "\\xff"},
    {0x100, "\\u00"},      {0x10A, "\\u0a"},  {0x122, "\\u22"},   {0x141, "\\u41"},
    {0x20AC, "\\uac"},     {0x263A, "\\u3a"}, {0x1F600, "\\u00"}, {0x7FFFFFFF, "\\uff"},
    {-1, "\\xff"},         {-0xBF, "A"},      {-0xF6, "&#x0a;"},  {-0x80000000LL, "\\x00"},
    {-0x7FFFFFA4, "\\\\"}, {-0x100, "\\x00"},
};

TEST(TextAttribute, WideCharacters) {
    for (const auto& [character, text] : wideCharacters) {
        EXPECT_EQ(attributeWith(&character, 1), " name_UN=\""s + text + "\"")
            << static_cast<long>(character);
    }
}

TEST(TextAttribute, AppendedWideTexts) {
    PrintBuffer buffer;
    buffer.appendUnicode(nullptr, 0);
    buffer.appendUnicode(nullptr, 4);
    buffer.appendUnicode(L"", 0);
    EXPECT_EQ(textOf(buffer), "");
    buffer.appendUnicode(L"\u20AC1", 0);
    buffer.appendUnicode(L"xyz", 2);
    EXPECT_EQ(textOf(buffer), "\\uac1xy");
}

TEST(TextAttribute, AppendedTexts) {
    PrintBuffer buffer;
    buffer.append(static_cast<const char*>(nullptr), 0);
    buffer.append(static_cast<const char*>(nullptr), 3);
    buffer.append("", 0);
    EXPECT_EQ(textOf(buffer), "");
    buffer.append("<raw \"&\n", 0);
    buffer.append("cut off", 3);
    EXPECT_EQ(textOf(buffer), "<raw \"&\ncut");
}

TEST(TextAttribute, AppendedTextsArePaddedFromTheirFirstZeroByte) {
    PrintBuffer buffer;
    buffer.append("ab\0cd", 5);
    EXPECT_EQ(textOf(buffer), "ab\0\0\0"s);
    buffer.append("e", 4);
    EXPECT_EQ(textOf(buffer), "ab\0\0\0e\0\0\0"s);
    buffer.append("\0x", 2);
    buffer.append("f", 1);
    EXPECT_EQ(textOf(buffer), "ab\0\0\0e\0\0\0\0\0f"s);
}

TEST(TextAttribute, RepeatedAttributesKeepTheirOrder) {
    RecorderMessage message(RecorderMessageKind::process, 0);
    message.set(Attribute::name, "first", 0);
    message.set(Attribute::name, "second", 0);
    message.set(Attribute::workingdir, "/tmp", 0);
    message.set(Attribute::archi, L"64", 0);
    EXPECT_EQ(
        textOf(message),
        "<process name_AS=\"first\" name_AS=\"second\" workingdir_AS=\"/tmp\" archi_UN=\"64\"");
}

}  // namespace
