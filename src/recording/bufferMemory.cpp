#include "recording/bufferMemory.h"

#include <sys/mman.h>

#include <cstdlib>

namespace {
constexpr std::size_t smallestMapping = std::size_t{1} << 20;
}

char* allocateBuffer(std::size_t size) {
    if (size < smallestMapping) return static_cast<char*>(std::malloc(size));
    void* const mapping =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    madvise(mapping, size, MADV_HUGEPAGE);
    return static_cast<char*>(mapping);
}

void releaseBuffer(char* buffer, std::size_t size) {
    if (size < smallestMapping) {
        std::free(buffer);
    } else if (buffer != nullptr) {
        munmap(buffer, size);
    }
}
