#pragma once

#include <cstddef>
#include <cstdint>

// A text of the application as a trace shows it: up to its zero byte, or to where memory can no
// longer be read. Print it with "%.*s".
struct TracedText {
    int length;
    const char* text;
};

// `buffer` may be null, which reads as the C library prints a null text. No more than `limit` bytes
// are shown.
TracedText tracedText(const void* buffer, std::size_t limit = SIZE_MAX);
