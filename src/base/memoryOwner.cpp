#include "base/memoryOwner.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

namespace {

using OwnerWord = std::atomic<pid_t>;

constinit std::atomic<OwnerWord*> ownerWord{nullptr};

// Zero here and, because the system wipes it then, in every child that has memory of its own.
OwnerWord* makeOwnerWord() {
    void* const page = mmap(nullptr, sizeof(OwnerWord), PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) return nullptr;
    if (madvise(page, sizeof(OwnerWord), MADV_WIPEONFORK) == 0) {
        auto* const word = new (page) OwnerWord(0);
        OwnerWord* none = nullptr;
        if (ownerWord.compare_exchange_strong(none, word, std::memory_order_acq_rel)) return word;
    }
    munmap(page, sizeof(OwnerWord));
    return ownerWord.load(std::memory_order_acquire);
}

}  // namespace

void claimMemory() {
    isMemoryBorrowed();
}

bool isMemoryBorrowed() {
    const int savedErrno = errno;
    OwnerWord* word = ownerWord.load(std::memory_order_acquire);
    if (word == nullptr) word = makeOwnerWord();
    errno = savedErrno;
    if (word == nullptr) return false;
    const pid_t process = getpid();
    pid_t owner = 0;
    return !word->compare_exchange_strong(owner, process, std::memory_order_relaxed) &&
           owner != process;
}
