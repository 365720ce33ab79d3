#pragma once

#include <sys/mman.h>

#include <cstddef>

namespace veltra::testing {

// Two pages of which only the first can be read.
class HalfReadable {
public:
    HalfReadable()
        : memory_(static_cast<char*>(mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE,
                                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        mprotect(memory_ + pageSize, pageSize, PROT_NONE);
    }
    ~HalfReadable() { munmap(memory_, 2 * pageSize); }
    HalfReadable(const HalfReadable&) = delete;
    HalfReadable& operator=(const HalfReadable&) = delete;

    // The last `count` bytes that can be read.
    char* last(std::size_t count) const { return memory_ + pageSize - count; }
    char* unreadable() const { return memory_ + pageSize; }

private:
    static constexpr std::size_t pageSize = 4096;
    char* memory_;
};

}  // namespace veltra::testing
