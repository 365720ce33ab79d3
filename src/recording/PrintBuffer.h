#pragma once

#include <sys/uio.h>

#include <cstddef>

#include "recording/messageNames.h"

// A growing text buffer with the writers of the message format: hexadecimal numbers, escaped bytes
// and attributes. Always terminated by a zero byte. When memory is short the text is given up: the
// buffer is then null, its length 0, and every later operation does nothing.
class PrintBuffer {
public:
    // A text that is not wanted is given up from the beginning.
    explicit PrintBuffer(bool isWanted = true);
    ~PrintBuffer();
    PrintBuffer(const PrintBuffer&) = delete;
    PrintBuffer& operator=(const PrintBuffer&) = delete;

    // The text with its terminating zero byte; empty when there is no buffer.
    const char* toString() const { return buffer != nullptr ? buffer : ""; }
    // The number of bytes in the text, without the terminating zero byte.
    unsigned long length() const { return used; }
    // The number of bytes allocated.
    unsigned long allocated() const { return capacity; }

    // Makes room for `count` further bytes, in steps of 8 KiB, with eight bytes of slack.
    void expand(unsigned long count);

    // Appends `count` bytes of the text; zero bytes pad it if it ends earlier. A count of 0 means
    // the whole text, a null text nothing.
    void append(const char* text, unsigned long count);
    // Numbers in lower-case hexadecimal without leading zeros, of the 64 or 32-bit pattern.
    void append(long long value);
    void append(unsigned int value);
    // Exactly four, respectively two, hexadecimal digits.
    void append(unsigned short value);
    void append(unsigned char value);
    // One byte, escaped if it has to be.
    void appendEscaped(char c);
    // `count` wide characters (0: up to the zero character): up to 255 as an escaped byte, above as
    // "\u" and the low byte's two digits.
    void appendUnicode(const wchar_t* text, unsigned long count);

    // Opens an attribute (blank, name, type marker, "=" and quote) and closes it (quote).
    void startData(RecorderMessageAttribute attribute, RecorderMessageAttributeType type);
    void endData();

    // One whole attribute. A null text or buffer array writes nothing at all; a text count of 0
    // means up to the zero byte; of a buffer array, at most `limit` bytes are written.
    void appendAttr(RecorderMessageAttribute attribute, int value);
    void appendAttr(RecorderMessageAttribute attribute, unsigned long value);
    void appendAttr(RecorderMessageAttribute attribute, long long value);
    void appendAttr(RecorderMessageAttribute attribute, const char* text, unsigned long count);
    void appendAttr(RecorderMessageAttribute attribute, const iovec* buffers,
                    unsigned long bufferCount, unsigned long limit);
    void appendAttr(RecorderMessageAttribute attribute, const wchar_t* text, unsigned long count);

private:
    template <typename Value>
    void appendNumberAttr(RecorderMessageAttribute attribute, RecorderMessageAttributeType type,
                          Value value);
    void appendEscapedBytes(const char* bytes, unsigned long count);
    void giveUp();

    char* buffer;
    unsigned long capacity;
    unsigned long used;
};
