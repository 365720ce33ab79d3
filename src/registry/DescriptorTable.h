#pragma once

#include <array>
#include <atomic>

struct SOCKETINFO;

// Finds a record by its descriptor in constant time and without a lock. Descriptors are small
// numbers, so two levels of plain arrays do; a leaf is made when its first descriptor is stored and
// stays.
class DescriptorTable {
public:
    static constexpr int leafSize = 1024;
    static constexpr int leafCount = 1024;

    static constexpr bool covers(int descriptor) {
        return descriptor >= 0 && descriptor < leafSize * leafCount;
    }

    // The stored record, or null. `descriptor` must be covered.
    SOCKETINFO* find(int descriptor) const;

    // Stores the record (null: none). `descriptor` must be covered and the caller must hold the
    // list lock. False when memory is short.
    bool store(int descriptor, SOCKETINFO* record);

    // Frees the leaves. Only while nothing else uses the table.
    void clear();

private:
    using Leaf = std::array<std::atomic<SOCKETINFO*>, leafSize>;
    std::array<std::atomic<Leaf*>, leafCount> leaves{};
};
