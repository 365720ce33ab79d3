#include "base/applicationMemory.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::uintptr_t pageSize = 4096;

// The kernel reads the new signal mask (8 bytes, aligned here) before it refuses the unknown `how`:
// EFAULT tells that they cannot be read, and the mask is never changed.
bool isPageReadable(std::uintptr_t page) {
    constexpr int unknownHow = -1;
    if (page == 0) return false;  // to the kernel, no mask at all
    const int saved = errno;
    const bool refused =
        syscall(SYS_rt_sigprocmask, unknownHow, page, nullptr, sizeof(std::uint64_t)) == -1;
    const bool readable = refused && errno != EFAULT;
    errno = saved;
    return readable;
}

// A wake-up of nobody, whose operation on the aligned word (or with 0) writes what is there.
bool isWordWritable(std::uintptr_t word) {
    constexpr unsigned orWithZero = FUTEX_OP(FUTEX_OP_OR, 0, FUTEX_OP_CMP_EQ, 0);
    std::uint32_t own = 0;
    const int saved = errno;
    const bool isDone =
        syscall(SYS_futex, &own, FUTEX_WAKE_OP_PRIVATE, 0, nullptr, word, orWithZero) != -1;
    const bool isFault = !isDone && errno == EFAULT;
    errno = saved;
    return !isFault;
}

constexpr std::uintptr_t pageOf(std::uintptr_t address) {
    return address & ~(pageSize - 1);
}

}  // namespace

std::size_t readableLength(const void* start, std::size_t length) {
    const auto first = reinterpret_cast<std::uintptr_t>(start);
    if (first == 0 || length == 0) return 0;
    const std::uintptr_t last = length - 1 > UINTPTR_MAX - first ? UINTPTR_MAX : first + length - 1;
    for (std::uintptr_t page = pageOf(first);; page += pageSize) {
        if (!isPageReadable(page)) return page <= first ? 0 : page - first;
        if (page == pageOf(last)) return last - first + 1;
    }
}

bool isWritable(void* start, std::size_t size) {
    const auto first = reinterpret_cast<std::uintptr_t>(start);
    if (first == 0 || readableLength(start, size) != size) return false;
    for (std::uintptr_t page = pageOf(first); page < first + size; page += pageSize) {
        constexpr std::uintptr_t wordSize = sizeof(std::uint32_t);
        const std::uintptr_t word = std::max(page, first & ~(wordSize - 1));
        if (!isWordWritable(word)) return false;
    }
    return true;
}

// Not inlined: memcheck is told of it by its name.
[[gnu::noinline]] std::size_t readableTextLength(const char* text) {
    if (text == nullptr) return 0;
    std::size_t length = 0;
    for (;;) {
        const auto here = reinterpret_cast<std::uintptr_t>(text + length);
        const std::size_t toPageEnd = pageSize - here % pageSize;
        if (!isPageReadable(pageOf(here))) return length;
        const std::size_t found = strnlen(text + length, toPageEnd);
        length += found;
        if (found < toPageEnd) return length;
    }
}

AddressCopy::AddressCopy(const struct sockaddr* address, std::size_t length)
    : storage_{}, present_(false) {
    const std::size_t wanted = std::min(length, sizeof(storage_));
    if (wanted < sizeof(storage_.ss_family) || readableLength(address, wanted) < wanted) return;
    std::memcpy(&storage_, address, wanted);
    present_ = true;
}
