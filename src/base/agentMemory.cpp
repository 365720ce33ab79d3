#include "base/agentMemory.h"

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <bit>
#include <new>

constinit CriticalSection criticalSectionMemory = PTHREAD_MUTEX_INITIALIZER;

namespace {

// Pieces of up to a page come from chunks and are kept in a list a size. Blocks up to the largest
// kept size have a mapping of their own, and a few of each size are kept mapped: whoever sends
// message after message pays for their pages once. Anything larger comes and goes, in large pages
// where the system has them.
constexpr std::size_t smallestPiece = 32;
constexpr std::size_t largestPiece = 4096;
constexpr std::size_t chunkSize = std::size_t{64} << 10;
constexpr std::size_t largestKept = std::size_t{1} << 20;
constexpr std::size_t keptPerSize = 4;

constexpr std::size_t sizeIndex(std::size_t size, std::size_t smallest) {
    return static_cast<std::size_t>(std::bit_width((size - 1) / smallest));
}
constexpr std::size_t pieceSizes = sizeIndex(largestPiece, smallestPiece) + 1;
constexpr std::size_t blockSizes = sizeIndex(largestKept, 2 * largestPiece) + 1;

struct FreePiece {
    FreePiece* next;
};

// Guarded by criticalSectionMemory.
constinit std::array<FreePiece*, pieceSizes> freePieces{};
constinit char* chunk = nullptr;
constinit std::size_t chunkLeft = 0;

constinit std::array<std::array<std::atomic<void*>, keptPerSize>, blockSizes> keptBlocks{};

void* map(std::size_t size) {
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

// What is left of the old chunk is too small for the piece that asks, and given up.
bool startChunk() {
    auto* const fresh = static_cast<char*>(map(chunkSize));
    if (fresh == nullptr) return false;
    chunk = fresh;
    chunkLeft = chunkSize;
    return true;
}

void* allocatePiece(std::size_t size) {
    const std::size_t index = sizeIndex(size, smallestPiece);
    const std::size_t wholeSize = smallestPiece << index;
    const CriticalSectionHold hold(criticalSectionMemory);
    if (FreePiece* const piece = freePieces[index]; piece != nullptr) {
        freePieces[index] = piece->next;
        return piece;
    }
    if (chunkLeft < wholeSize && !startChunk()) return nullptr;
    char* const piece = chunk;
    chunk += wholeSize;
    chunkLeft -= wholeSize;
    return piece;
}

void releasePiece(void* memory, std::size_t size) {
    const CriticalSectionHold hold(criticalSectionMemory);
    FreePiece*& list = freePieces[sizeIndex(size, smallestPiece)];
    list = new (memory) FreePiece{list};
}

void* allocateBlock(std::size_t size) {
    const std::size_t index = sizeIndex(size, 2 * largestPiece);
    for (std::atomic<void*>& kept : keptBlocks[index]) {
        if (kept.load(std::memory_order_relaxed) == nullptr) continue;
        if (void* const block = kept.exchange(nullptr, std::memory_order_acquire)) return block;
    }
    return map(2 * largestPiece << index);
}

void releaseBlock(void* memory, std::size_t size) {
    const std::size_t index = sizeIndex(size, 2 * largestPiece);
    for (std::atomic<void*>& kept : keptBlocks[index]) {
        void* none = nullptr;
        if (kept.load(std::memory_order_relaxed) == nullptr &&
            kept.compare_exchange_strong(none, memory, std::memory_order_release)) {
            return;
        }
    }
    munmap(memory, 2 * largestPiece << index);
}

}  // namespace

void* allocateMemory(std::size_t size) {
    if (size <= largestPiece) return allocatePiece(size);
    if (size <= largestKept) return allocateBlock(size);
    void* const memory = map(size);
    if (memory != nullptr) madvise(memory, size, MADV_HUGEPAGE);
    return memory;
}

void releaseMemory(void* memory, std::size_t size) {
    if (memory == nullptr) return;
    if (size <= largestPiece) {
        releasePiece(memory, size);
    } else if (size <= largestKept) {
        releaseBlock(memory, size);
    } else {
        munmap(memory, size);
    }
}
