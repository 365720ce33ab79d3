// An allocator that writes a byte at each allocation, as one does that keeps a log of them.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

std::atomic<int> allocationLog{-1};

static void note() {
    int log = allocationLog.load();
    if (log == -1) {
        log = open("/dev/null", O_WRONLY);
        allocationLog = log;
    }
    if (write(log, "a", 1) != 1) allocationLog = -1;
}

void* malloc(std::size_t size) noexcept {
    note();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    note();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    note();
    return __libc_realloc(memory, size);
}
}
