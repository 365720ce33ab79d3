#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "messageText.h"
#include "recording/RecorderMessage.h"

namespace {

// The escaped form of every byte value.
constexpr const char* escapedForms[] = {
    "\\x00",  "\\x01", "\\x02", "\\x03", "\\x04",  "\\x05", "\\x06", "\\x07", "\\x08",  "&#x09;",
    "&#x0a;", "\\x0b", "\\x0c", "\\x0d", "\\x0e",  "\\x0f", "\\x10", "\\x11", "\\x12",  "\\x13",
    "\\x14",  "\\x15", "\\x16", "\\x17", "\\x18",  "\\x19", "\\x1a", "\\x1b", "\\x1c",  "\\x1d",
    "\\x1e",  "\\x1f", " ",     "!",     "&#x22;", "#",     "$",     "%",     "&#x26;", "'",
    "(",      ")",     "*",     "+",     ",",      "-",     ".",     "/",     "0",      "1",
    "2",      "3",     "4",     "5",     "6",      "7",     "8",     "9",     ":",      ";",
    "&#x3c;", "=",     ">",     "?",     "@",      "A",     "B",     "C",     "D",      "E",
    "F",      "G",     "H",     "I",     "J",      "K",     "L",     "M",     "N",      "O",
    "P",      "Q",     "R",     "S",     "T",      "U",     "V",     "W",     "X",      "Y",
    "Z",      "[",     "\\\\",  "]",     "^",      "_",     "`",     "a",     "b",      "c",
    "d",      "e",     "f",     "g",     "h",      "i",     "j",     "k",     "l",      "m",
    "n",      "o",     "p",     "q",     "r",      "s",     "t",     "u",     "v",      "w",
    "x",      "y",     "z",     "{",     "|",      "}",     "~",     "\\x7f", "\\x80",  "\\x81",
    "\\x82",  "\\x83", "\\x84", "\\x85", "\\x86",  "\\x87", "\\x88", "\\x89", "\\x8a",  "\\x8b",
    "\\x8c",  "\\x8d", "\\x8e", "\\x8f", "\\x90",  "\\x91", "\\x92", "\\x93", "\\x94",  "\\x95",
    "\\x96",  "\\x97", "\\x98", "\\x99", "\\x9a",  "\\x9b", "\\x9c", "\\x9d", "\\x9e",  "\\x9f",
    "\\xa0",  "\\xa1", "\\xa2", "\\xa3", "\\xa4",  "\\xa5", "\\xa6", "\\xa7", "\\xa8",  "\\xa9",
    "\\xaa",  "\\xab", "\\xac", "\\xad", "\\xae",  "\\xaf", "\\xb0", "\\xb1", "\\xb2",  "\\xb3",
    "\\xb4",  "\\xb5", "\\xb6", "\\xb7", "\\xb8",  "\\xb9", "\\xba", "\\xbb", "\\xbc",  "\\xbd",
    "\\xbe",  "\\xbf", "\\xc0", "\\xc1", "\\xc2",  "\\xc3", "\\xc4", "\\xc5", "\\xc6",  "\\xc7",
    "\\xc8",  "\\xc9", "\\xca", "\\xcb", "\\xcc",  "\\xcd", "\\xce", "\\xcf", "\\xd0",  "\\xd1",
    "\\xd2",  "\\xd3", "\\xd4", "\\xd5", "\\xd6",  "\\xd7", "\\xd8", "\\xd9", "\\xda",  "\\xdb",
    "\\xdc",  "\\xdd", "\\xde", "\\xdf", "\\xe0",  "\\xe1", "\\xe2", "\\xe3", "\\xe4",  "\\xe5",
    "\\xe6",  "\\xe7", "\\xe8", "\\xe9", "\\xea",  "\\xeb", "\\xec", "\\xed", "\\xee",  "\\xef",
    "\\xf0",  "\\xf1", "\\xf2", "\\xf3", "\\xf4",  "\\xf5", "\\xf6", "\\xf7", "\\xf8",  "\\xf9",
    "\\xfa",  "\\xfb", "\\xfc", "\\xfd", "\\xfe",  "\\xff"};
static_assert(std::size(escapedForms) == 256);

char byteOf(int value) {
    return static_cast<char>(static_cast<unsigned char>(value));
}

TEST(ByteEscaping, EveryByteAlone) {
    for (int value = 0; value < 256; ++value) {
        PrintBuffer buffer;
        buffer.appendEscaped(byteOf(value));
        EXPECT_EQ(textOf(buffer), escapedForms[value]) << "byte " << value;
    }
}

TEST(ByteEscaping, EveryByteAsAnAttribute) {
    for (int value = 0; value < 256; ++value) {
        const char byte = byteOf(value);
        PrintBuffer buffer;
        buffer.appendAttr(RecorderMessageAttribute::data, &byte, 1);
        EXPECT_EQ(textOf(buffer), std::string(" data_AS=\"") + escapedForms[value] + "\"")
            << "byte " << value;
    }
}

TEST(ByteEscaping, AllBytesInOneValue) {
    std::string bytes;
    std::string expected = "<send data_AS=\"";
    for (int value = 0; value < 256; ++value) {
        bytes += byteOf(value);
        expected += escapedForms[value];
    }
    RecorderMessage message(RecorderMessageKind::send, 0);
    message.set(RecorderMessageAttribute::data, bytes.data(), 256);
    message.finish();
    EXPECT_EQ(textOf(message), expected + "\"/>\n");
}

TEST(ByteEscaping, EveryByteInAScatteredValue) {
    for (int value = 0; value < 256; ++value) {
        char byte = byteOf(value);
        const iovec piece = {&byte, 1};
        PrintBuffer buffer;
        buffer.appendAttr(RecorderMessageAttribute::data, &piece, 1, 1);
        EXPECT_EQ(textOf(buffer), std::string(" data_AS=\"") + escapedForms[value] + "\"")
            << "byte " << value;
    }
}

TEST(ByteEscaping, WideCharactersUpTo255AreBytes) {
    for (int value = 1; value < 256; ++value) {
        const wchar_t character = value;
        PrintBuffer buffer;
        buffer.appendUnicode(&character, 1);
        EXPECT_EQ(textOf(buffer), escapedForms[value]) << "character " << value;
    }
}

TEST(ByteEscaping, NegativeWideCharactersAreTheirLowByte) {
    for (int value = -1; value >= -256; --value) {
        const wchar_t character = value;
        PrintBuffer buffer;
        buffer.appendUnicode(&character, 1);
        EXPECT_EQ(textOf(buffer), escapedForms[value & 0xFF]) << "character " << value;
    }
}

}  // namespace
