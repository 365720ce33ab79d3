#include "recording/byteText.h"

#include <algorithm>
#include <cstdint>

#include "recording/escaping.h"

namespace veltra {

namespace {

// What may follow a lead byte: how many bytes, and the range of the first of them.
struct Utf8Tail {
    std::size_t count;
    unsigned char lowest;
    unsigned char highest;
};

constexpr Utf8Tail invalid{4, 1, 0};

constexpr Utf8Tail utf8Tail(unsigned char lead) {
    if (lead < 0x80) return {0, 0, 0};
    if (lead < 0xC2) return invalid;
    if (lead < 0xE0) return {1, 0x80, 0xBF};
    // Neither longer forms than needed, nor surrogates, nor beyond U+10FFFF.
    if (lead < 0xF0) {
        return {2, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    }
    if (lead < 0xF5) {
        return {3, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    }
    return invalid;
}

void appendReadable(char byte, std::string& text) {
    switch (byte) {
        case '\r':
            text += "\\r";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\t':
            text += "\\t";
            break;
        case '\\':
            text += "\\\\";
            break;
        default:
            if (byte >= ' ' && byte <= '~') {
                text += byte;
            } else {
                text += "\\x" + hexDigits(byte);
            }
    }
}

}  // namespace

bool isUtf8(std::string_view bytes) noexcept {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const Utf8Tail tail = utf8Tail(static_cast<unsigned char>(bytes[i]));
        if (tail.count == 0) continue;
        if (bytes.size() - i <= tail.count) return false;
        const auto first = static_cast<unsigned char>(bytes[i + 1]);
        if (first < tail.lowest || first > tail.highest) return false;
        for (std::size_t k = 2; k <= tail.count; ++k) {
            if ((static_cast<unsigned char>(bytes[i + k]) & 0xC0U) != 0x80) return false;
        }
        i += tail.count;
    }
    return true;
}

std::string base64(std::string_view bytes) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8U | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? digits[group >> (18 - 6 * k) & 0x3FU] : '=';
        }
    }
    return text;
}

std::string readable(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes)
        appendReadable(byte, text);
    return text;
}

std::string readable(std::string_view bytes, std::size_t width) {
    constexpr std::string_view ellipsis = "...";
    std::string text;
    std::size_t fitting = 0;  // how much of the text leaves room for the ellipsis
    for (const char byte : bytes) {
        appendReadable(byte, text);
        if (text.size() > width) return text.substr(0, fitting).append(ellipsis);
        if (text.size() + ellipsis.size() <= width) fitting = text.size();
    }
    return text;
}

std::string hexDigits(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return {HexaTable[value >> 4U], HexaTable[value & 0xFU]};
}

void appendLatin1(unsigned char character, std::string& text) {
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else {
        text += static_cast<char>(0xC0U | character >> 6U);
        text += static_cast<char>(0x80U | (character & 0x3FU));
    }
}

}  // namespace veltra
