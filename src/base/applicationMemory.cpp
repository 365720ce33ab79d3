#include "base/applicationMemory.h"

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

std::size_t readableTextLength(const char* text) {
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
