#include "recording/PrintBuffer.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "base/agentMemory.h"
#include "recording/escaping.h"

namespace {

constexpr unsigned long growthStep = 8192;
constexpr unsigned long slack = 8;

static_assert(escapingOverrun < slack);

// The digits of `value`, written so that they end at `end`. Returns where they begin.
template <typename Unsigned>
char* writeDigits(char* end, Unsigned value) {
    do {
        *--end = HexaTable[value & 0xF];
        value >>= 4;
    } while (value != 0);
    return end;
}

}  // namespace

PrintBuffer::PrintBuffer(bool isWanted)
    : buffer(isWanted ? static_cast<char*>(allocateMemory(growthStep)) : nullptr),
      capacity(buffer != nullptr ? growthStep : 0),
      used(0) {
    if (buffer != nullptr) buffer[0] = '\0';
}

PrintBuffer::~PrintBuffer() {
    releaseMemory(buffer, capacity);
    buffer = nullptr;
}

void PrintBuffer::giveUp() {
    releaseMemory(buffer, capacity);
    buffer = nullptr;
    capacity = 0;
    used = 0;
}

void PrintBuffer::expand(unsigned long count) {
    if (buffer == nullptr) return;
    const unsigned long need = used + count + slack;
    if (need < capacity) return;
    const unsigned long grownCapacity = need / growthStep * growthStep + growthStep;
    auto* const grown = static_cast<char*>(allocateMemory(grownCapacity));
    if (grown == nullptr) return giveUp();
    std::memcpy(grown, buffer, used);
    grown[used] = '\0';
    releaseMemory(buffer, capacity);
    buffer = grown;
    capacity = grownCapacity;
}

void PrintBuffer::append(const char* text, unsigned long count) {
    if (buffer == nullptr || text == nullptr) return;
    if (count == 0) count = std::strlen(text);
    expand(count + 1);
    if (buffer == nullptr) return;
    const std::size_t present = strnlen(text, count);
    std::memcpy(buffer + used, text, present);
    std::memset(buffer + used + present, '\0', count - present);
    used += count;
    buffer[used] = '\0';
}

void PrintBuffer::append(long long value) {
    char digits[16];
    char* const end = digits + sizeof(digits);
    const char* const begin = writeDigits(end, static_cast<unsigned long long>(value));
    append(begin, static_cast<unsigned long>(end - begin));
}

void PrintBuffer::append(unsigned int value) {
    char digits[8];
    char* const end = digits + sizeof(digits);
    const char* const begin = writeDigits(end, value);
    append(begin, static_cast<unsigned long>(end - begin));
}

void PrintBuffer::append(unsigned short value) {
    append(static_cast<unsigned char>(value >> 8));
    append(static_cast<unsigned char>(value & 0xFF));
}

void PrintBuffer::append(unsigned char value) {
    const char digits[] = {HexaTable[value >> 4], HexaTable[value & 0xF]};
    append(digits, sizeof(digits));
}

void PrintBuffer::appendEscaped(char c) {
    appendEscapedBytes(&c, 1);
}

// The length is counted first, so that the buffer grows once and a message's cost stays in
// proportion to its payload.
void PrintBuffer::appendEscapedBytes(const char* bytes, unsigned long count) {
    if (buffer == nullptr) return;
    expand(escapedLength(bytes, count) + 1);
    if (buffer == nullptr) return;
    used = static_cast<unsigned long>(
        writeEscaped(buffer + used, buffer + capacity - slack, bytes, count) - buffer);
    buffer[used] = '\0';
}

void PrintBuffer::appendUnicode(const wchar_t* text, unsigned long count) {
    if (text == nullptr) return;
    if (count == 0) count = std::wcslen(text);
    for (unsigned long i = 0; i < count; ++i) {
        if (text[i] <= 255) {
            appendEscaped(static_cast<char>(text[i]));
        } else {
            append("\\u", 2);
            append(static_cast<unsigned char>(text[i]));
        }
    }
}

void PrintBuffer::startData(RecorderMessageAttribute attribute, RecorderMessageAttributeType type) {
    append(" ", 1);
    append(ATTRIBUTE_VELTRA[static_cast<int>(attribute)], 0);
    append("_", 1);
    append(MARKER_RMAT[static_cast<int>(type)], 2);
    append("=\"", 2);
}

void PrintBuffer::endData() {
    append("\"", 1);
}

template <typename Value>
void PrintBuffer::appendNumberAttr(RecorderMessageAttribute attribute,
                                   RecorderMessageAttributeType type, Value value) {
    startData(attribute, type);
    append(value);
    endData();
}

void PrintBuffer::appendAttr(RecorderMessageAttribute attribute, int value) {
    appendNumberAttr(attribute, RecorderMessageAttributeType::signed32,
                     static_cast<unsigned int>(value));
}

void PrintBuffer::appendAttr(RecorderMessageAttribute attribute, unsigned long value) {
    appendNumberAttr(attribute, RecorderMessageAttributeType::unsigned32,
                     static_cast<unsigned int>(value));
}

void PrintBuffer::appendAttr(RecorderMessageAttribute attribute, long long value) {
    appendNumberAttr(attribute, RecorderMessageAttributeType::signed64, value);
}

void PrintBuffer::appendAttr(RecorderMessageAttribute attribute, const char* text,
                             unsigned long count) {
    if (buffer == nullptr || text == nullptr) return;
    startData(attribute, RecorderMessageAttributeType::bytes);
    appendEscapedBytes(text, count == 0 ? std::strlen(text) : count);
    endData();
}

void PrintBuffer::appendAttr(RecorderMessageAttribute attribute, const iovec* buffers,
                             unsigned long bufferCount, unsigned long limit) {
    if (buffer == nullptr || buffers == nullptr) return;
    const auto forEachPiece = [&](auto&& visit) {
        unsigned long left = limit;
        for (unsigned long i = 0; i < bufferCount && left != 0; ++i) {
            const unsigned long count = std::min<unsigned long>(buffers[i].iov_len, left);
            visit(static_cast<const char*>(buffers[i].iov_base), count);
            left -= count;
        }
    };
    startData(attribute, RecorderMessageAttributeType::bytes);
    unsigned long total = 0;
    forEachPiece(
        [&](const char* bytes, unsigned long count) { total += escapedLength(bytes, count); });
    expand(total + 1);
    forEachPiece([&](const char* bytes, unsigned long count) { appendEscapedBytes(bytes, count); });
    endData();
}

void PrintBuffer::appendAttr(RecorderMessageAttribute attribute, const wchar_t* text,
                             unsigned long count) {
    if (text == nullptr) return;
    startData(attribute, RecorderMessageAttributeType::wideText);
    appendUnicode(text, count);
    endData();
}
