#pragma once

#include <array>
#include <cstdint>

// How each byte value is written inside an attribute's value. The two styles are deliberately
// mixed: character references for what would break the element, backslashes for what cannot be
// printed.

constexpr char HexaTable[] = "0123456789abcdef";

// As long as a register, so that one move writes it.
struct alignas(8) EscapedByte {
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

// How long the form of one byte can be.
constexpr unsigned long longestEscape = sizeof(EscapedByte::text);

// How many bytes behind the limit may be overwritten.
constexpr unsigned long escapingOverrun = sizeof(EscapedByte) - 1;

// Chooses the fastest way that the processor knows; until then it is the portable one.
void chooseEscaping();

// How many bytes the escaped form of `count` bytes has.
unsigned long escapedLength(const char* bytes, unsigned long count);

// Writes the escaped form of `count` bytes to `out` and returns where it ends, which is `limit` at
// the most: another thread of the application may change the bytes after they were counted. What
// lies behind the end may be overwritten, as far as escapingOverrun bytes behind `limit`.
char* writeEscaped(char* out, const char* limit, const char* bytes, unsigned long count);
