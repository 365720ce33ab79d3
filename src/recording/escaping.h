#pragma once

#include <array>
#include <cstdint>

// How each byte value is written inside an attribute's value. The two styles are deliberately
// mixed: character references for what would break the element, backslashes for what cannot be
// printed.

constexpr char HexaTable[] = "0123456789abcdef";

struct EscapedByte {
    char text[6];
    std::uint8_t length;
};

constexpr EscapedByte escapedForm(unsigned char byte) {
    const char high = HexaTable[byte >> 4];
    const char low = HexaTable[byte & 0xF];
    const auto plain = static_cast<char>(byte);
    switch (byte) {
        case '\t':
        case '\n':
        case '"':
        case '&':
        case '<':
            return {{'&', '#', 'x', high, low, ';'}, 6};
        case '\\':
            return {{'\\', '\\'}, 2};
        default:
            break;
    }
    if (byte < 0x20 || byte > 0x7E) return {{'\\', 'x', high, low}, 4};
    return {{plain}, 1};
}

constexpr std::array<EscapedByte, 256> makeEscapedBytes() {
    std::array<EscapedByte, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        table[byte] = escapedForm(static_cast<unsigned char>(byte));
    }
    return table;
}

inline constexpr std::array<EscapedByte, 256> escapedBytes = makeEscapedBytes();

inline const EscapedByte& escaped(char c) {
    return escapedBytes[static_cast<unsigned char>(c)];
}

// What is written at the end of a run may stand up to this many bytes beyond it.
constexpr unsigned long longestEscape = sizeof(EscapedByte::text);

// How many bytes the escaped form of `count` bytes has.
unsigned long escapedLength(const char* bytes, unsigned long count);

// Writes the escaped form of `count` bytes to `out` and returns where it ends, which is `limit` at
// the most: another thread of the application may change the bytes after they were counted. Behind
// the end, up to longestEscape bytes are overwritten.
char* writeEscaped(char* out, const char* limit, const char* bytes, unsigned long count);
