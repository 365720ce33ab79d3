// In place of agentMemory.cpp where the address sanitizer watches: it knows the bounds of what the
// allocator hands out, and not those of our own pieces.

#include <cstdlib>

#include "base/agentMemory.h"

constinit CriticalSection criticalSectionMemory = PTHREAD_MUTEX_INITIALIZER;

void* allocateMemory(std::size_t size) {
    return std::malloc(size);
}

void releaseMemory(void* memory, std::size_t) {
    std::free(memory);
}
