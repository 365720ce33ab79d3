#include "support/FailingMalloc.h"

#include <atomic>
#include <cstdint>

namespace {

constexpr std::size_t never = SIZE_MAX;
std::atomic<std::size_t> failsFrom{never};

}  // namespace

// The linker turns the calls of malloc in the test program's own objects into calls of the first,
// and gives the real one the second name.
extern "C" {
void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return size >= failsFrom.load() ? nullptr : __real_malloc(size);
}

// The same for the agent's own allocateMemory.
void* __real__Z14allocateMemorym(std::size_t size);
void* __wrap__Z14allocateMemorym(std::size_t size);

void* __wrap__Z14allocateMemorym(std::size_t size) {
    return size >= failsFrom.load() ? nullptr : __real__Z14allocateMemorym(size);
}
}

namespace veltra::testing {

FailingMalloc::FailingMalloc(std::size_t fromSize) {
    failsFrom.store(fromSize);
}

FailingMalloc::~FailingMalloc() {
    failsFrom.store(never);
}

}  // namespace veltra::testing
