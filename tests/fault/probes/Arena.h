#pragma once

// Memory of every kind at fixed places, so that two runs see the same addresses: a page that can
// only be read, pages for everything, and one for nothing.

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace probe {

class Arena {
public:
    static constexpr std::size_t pageSize = 4096;
    static constexpr std::size_t writableSize = 2 * pageSize;

    // The places of a call's small arguments, at the end of the writable pages; the rest is for
    // data.
    static constexpr std::size_t namePlace = writableSize - 1024;   // an address, 128 bytes
    static constexpr std::size_t lengthPlace = writableSize - 512;  // a length
    static constexpr std::size_t valuePlace = writableSize - 448;   // an option's value
    static constexpr std::size_t headerPlace = writableSize - 384;  // a message header
    static constexpr std::size_t piecesPlace = writableSize - 256;  // its buffers
    static constexpr std::size_t timePlace = writableSize - 64;     // a time
    static constexpr std::size_t setsPlace = writableSize - 2048;   // three sets of descriptors

    Arena() {
        constexpr int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE;
        auto* const wanted = reinterpret_cast<void*>(std::uintptr_t{0x2000'0000'0000});
        base_ =
            static_cast<char*>(mmap(wanted, 4 * pageSize, PROT_READ | PROT_WRITE, flags, -1, 0));
        std::memset(base_, 'r', pageSize);
        std::memcpy(base_ + smallLengthsPlace, smallLengths, sizeof(smallLengths));
        mprotect(readOnly(), pageSize, PROT_READ);
        mprotect(unreadable(), pageSize, PROT_NONE);
    }
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    char* readOnly() const { return base_; }
    // A word that can only be read, with a length that no address fits into.
    char* readOnlyLength(std::size_t which) const {
        return base_ + smallLengthsPlace + which % std::size(smallLengths) * sizeof(std::uint32_t);
    }
    char* writable() const { return base_ + pageSize; }
    char* unreadable() const { return writable() + writableSize; }

    template <typename Value>
    Value* at(std::size_t place) const {
        return reinterpret_cast<Value*>(writable() + place);
    }

    void fill(std::uint64_t number) const {
        std::memset(writable(), 'a' + static_cast<int>(number % 26), writableSize);
    }

    // A number for all that the writable pages hold, but for the port of an address.
    std::uint64_t fingerprint() const {
        std::memset(writable() + namePlace + 2, 0, 2);
        return fingerprintOf(writable(), writableSize);
    }

    static std::uint64_t fingerprintOf(const void* bytes, std::size_t count) {
        std::uint64_t value = 14695981039346656037ULL;
        for (std::size_t i = 0; i < count; ++i) {
            value ^= static_cast<const unsigned char*>(bytes)[i];
            value *= 1099511628211ULL;
        }
        return value;
    }

private:
    static constexpr std::uint32_t smallLengths[] = {0, 1, 4, 8, 15, UINT32_MAX};
    static constexpr std::size_t smallLengthsPlace = pageSize - sizeof(smallLengths);

    char* base_ = nullptr;
};

}  // namespace probe
