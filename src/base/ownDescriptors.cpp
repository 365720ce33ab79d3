#include "base/ownDescriptors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/single_threaded.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

#include "base/realFunctions.h"

namespace {

// The kernel's table of descriptors reaches to the highest number in use, and select looks at as
// much of its sets: it must not reach beyond the sets that programs have.
constexpr rlim_t highestUsefulNumber = FD_SETSIZE;
constexpr rlim_t numbersForUs = 16;

constexpr int none = -1;
constexpr int beingFilled = -2;

struct OwnDescriptor {
    std::atomic<int> fd{none};
    std::atomic<unsigned long> device{0};
    std::atomic<unsigned long> inode{0};

    FileIdentity identity() const {
        return {device.load(std::memory_order_relaxed), inode.load(std::memory_order_relaxed)};
    }
};

constinit std::array<OwnDescriptor, 8> ownDescriptors{};

// Kept from one descriptor to the next, until the program lowers its limit below it.
constexpr int unknown = -1;
constinit std::atomic<int> firstNumberAside{unknown};

int findFirstNumberAside() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    const rlim_t end = std::min(limit.rlim_cur, highestUsefulNumber);
    return static_cast<int>(end > numbersForUs ? end - numbersForUs : 0);
}

int duplicateAside(int fd) {
    const int saved = errno;
    const int known = firstNumberAside.load(std::memory_order_relaxed);
    if (known != unknown) {
        const int aside = fcntl(fd, F_DUPFD_CLOEXEC, known);
        if (aside != -1 || errno != EINVAL) return aside;
    }
    const int found = findFirstNumberAside();
    firstNumberAside.store(found, std::memory_order_relaxed);
    errno = saved;
    return fcntl(fd, F_DUPFD_CLOEXEC, found);
}

}  // namespace

bool areOtherThreadsAbout() {
    return !__libc_single_threaded;
}

int openOwnSocket() {
    const int closeOnExec = areOtherThreadsAbout() ? SOCK_CLOEXEC : 0;
    return True_socket(AF_INET, SOCK_STREAM | closeOnExec, IPPROTO_TCP);
}

void limitWaits(int fd, const timeval& longest) {
    Initsetsockopt();
    const auto set = setsockopt_ptr.load(std::memory_order_relaxed);
    if (set != nullptr) set(fd, SOL_SOCKET, SO_SNDTIMEO, &longest, sizeof(longest));
}

int moveDescriptorAside(int fd) {
    if (fd == -1) return -1;
    const int aside = duplicateAside(fd);
    if (aside == -1) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
        return fd;
    }
    const int saved = errno;
    syscall(SYS_close, fd);
    errno = saved;
    return aside;
}

void rememberOwnDescriptor(int fd, const FileIdentity& identity) {
    for (OwnDescriptor& slot : ownDescriptors) {
        int expected = none;
        if (!slot.fd.compare_exchange_strong(expected, beingFilled, std::memory_order_relaxed)) {
            continue;
        }
        slot.device.store(identity.device, std::memory_order_relaxed);
        slot.inode.store(identity.inode, std::memory_order_relaxed);
        slot.fd.store(fd, std::memory_order_release);
        return;
    }
}

void forgetOwnDescriptor(int fd) {
    for (OwnDescriptor& slot : ownDescriptors) {
        int expected = fd;
        if (slot.fd.compare_exchange_strong(expected, none, std::memory_order_relaxed)) return;
    }
}

bool isOwnDescriptor(int fd) {
    if (fd < 0) return false;
    for (const OwnDescriptor& slot : ownDescriptors) {
        if (slot.fd.load(std::memory_order_acquire) == fd && slot.identity() == fileIdentity(fd)) {
            return true;
        }
    }
    return false;
}

FileIdentity fileIdentity(int fd) {
    struct stat status {};
    const int saved = errno;
    const bool isOpen = fstat(fd, &status) == 0;
    errno = saved;
    return isOpen ? FileIdentity{status.st_dev, status.st_ino} : FileIdentity{};
}
