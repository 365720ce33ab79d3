#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "base/CriticalSection.h"
#include "base/agentMemory.h"
#include "base/utils.h"

const char* const IMAGE_DEBUG[10] = {"ERROR", "INFO ", "HOOK ", "CALL ", "RET  ",
                                     "WARNI", "DATA ", "LAUNC", "LOW  ", "GENER"};

constinit std::atomic<std::int32_t> debugLvl{-1};
constinit char* internal_buffer_display = nullptr;
constinit std::int32_t internal_buffer_display_size = 0;
constinit std::atomic<std::int32_t> currentProcessId{0};

namespace {

constexpr std::int32_t initialBufferSize = 8192;
constexpr std::int32_t longestLine = INT32_MAX - 2 * initialBufferSize;

// Writes "[LABEL]" to the front of the buffer, except for free text. Returns its length.
int writePrefix(DebugMessageKind kind) {
    if (kind == TRACE_GENER) return 0;
    return snprintf(internal_buffer_display, static_cast<std::size_t>(internal_buffer_display_size),
                    "[%s]", IMAGE_DEBUG[kind]);
}

// Formats the message behind the prefix, leaving `reserve` bytes free at the end of the buffer.
// Returns the length of prefix and whole message, also when the message had to be cut.
int formatBehind(int prefix, int reserve, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));
int formatBehind(int prefix, int reserve, const char* format, va_list arguments) {
    va_list copy;
    va_copy(copy, arguments);
    const int length = vsnprintf(
        internal_buffer_display + prefix,
        static_cast<std::size_t>(internal_buffer_display_size - prefix - reserve), format, copy);
    va_end(copy);
    return length < 0 || length > longestLine ? -1 : prefix + length;
}

void freeBuffer() {
    releaseMemory(internal_buffer_display, static_cast<std::size_t>(internal_buffer_display_size));
    internal_buffer_display = nullptr;
}

// In place of what there was. False, with no buffer, when memory is short.
bool allocateBuffer(std::int32_t size) {
    freeBuffer();
    internal_buffer_display = static_cast<char*>(allocateMemory(static_cast<std::size_t>(size)));
    internal_buffer_display_size = internal_buffer_display != nullptr ? size : 0;
    return internal_buffer_display != nullptr;
}

// Gives the buffer room for a line of `length` bytes, in whole pages. False, with no buffer left,
// when memory is short.
bool growBuffer(int length) {
    return allocateBuffer((length + 8) / 4096 * 4096 + 4096);
}

// A line that could not grow took the buffer with it: the next line starts with a new one.
bool ensureBuffer() {
    return internal_buffer_display != nullptr || allocateBuffer(initialBufferSize);
}

// A line of kind 8 is for the debug server alone.
void outputLine(DebugMessageKind kind, int length) {
    if (kind != TRACE_LOW)
        writeToLogFile(internal_buffer_display, static_cast<std::size_t>(length));
    sendDebugMessage(internal_buffer_display);
}

// Builds the line in the buffer and writes it. Returns the buffer's new size if it had to grow,
// else 0.
std::int32_t writeLine(DebugMessageKind kind, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));
std::int32_t writeLine(DebugMessageKind kind, const char* format, va_list arguments) {
    const CriticalSectionHold hold(criticalSectionLog);
    if (!ensureBuffer()) return 0;
    int prefix = writePrefix(kind);
    int length = formatBehind(prefix, 1, format, arguments);
    if (length < 0) return 0;
    const bool grows = length + 7 >= internal_buffer_display_size;
    if (grows) {
        if (!growBuffer(length)) return 0;
        prefix = writePrefix(kind);
        // A text argument that another thread makes longer meanwhile is cut.
        length =
            std::min(formatBehind(prefix, 0, format, arguments), internal_buffer_display_size - 2);
    }
    internal_buffer_display[length] = '\n';
    internal_buffer_display[length + 1] = '\0';
    outputLine(kind, length + 1);
    return grows ? internal_buffer_display_size : 0;
}

}  // namespace

bool isDebugLevelEnable(int kind) {
    if (kind == TRACE_LOW) return true;
    const auto mask = static_cast<std::uint32_t>(debugLvl.load(std::memory_order_relaxed));
    return (mask >> (static_cast<unsigned>(kind) % 32) & 1U) != 0;
}

std::int32_t getDebugLvl() {
    return debugLvl.load(std::memory_order_relaxed);
}

void(x_disp)(DebugMessageKind kind, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vx_disp(kind, format, arguments);
    va_end(arguments);
}

void vx_disp(DebugMessageKind kind, const char* format, va_list arguments) {
    if (!isTraceWritten(kind)) return;
    const std::int32_t grownSize = writeLine(kind, format, arguments);
    if (grownSize != 0) x_disp(TRACE_INFO, "buffer resized to : %d", grownSize);
}

void initializeCriticalSections() {
    AllocCriticalSectionBase(&criticalSectionLog);
    allocateBuffer(initialBufferSize);
}

void cleanCriticalSections() {
    debugLvl.store(0, std::memory_order_relaxed);
    FreeCriticalSectionBase(&criticalSectionLog);
    freeBuffer();
    internal_buffer_display_size = initialBufferSize;
}
