// Stands between the agent and the C library's allocator and formatter, and counts their calls.

#include <atomic>
#include <cstdarg>
#include <cstddef>

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
int __vsnprintf_chk(char* text, std::size_t size, int flag, std::size_t room, const char* format,
                    va_list arguments);

std::atomic<int> countedAllocations{0};
std::atomic<int> countedFormats{0};

void* malloc(std::size_t size) noexcept {
    ++countedAllocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    ++countedAllocations;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    ++countedAllocations;
    return __libc_realloc(memory, size);
}

int vsnprintf(char* text, std::size_t size, const char* format, va_list arguments) noexcept {
    ++countedFormats;
    return __vsnprintf_chk(text, size, 0, size, format, arguments);
}

int snprintf(char* text, std::size_t size, const char* format, ...) noexcept {
    ++countedFormats;
    va_list arguments;
    va_start(arguments, format);
    const int length = __vsnprintf_chk(text, size, 0, size, format, arguments);
    va_end(arguments);
    return length;
}
}
