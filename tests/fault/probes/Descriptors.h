#pragma once

// What a program has open, found without calls that are interposed.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace probe {

inline bool isOpen(int fd) {
    return syscall(SYS_fcntl, fd, F_GETFD, 0) != -1;
}

inline std::vector<int> openDescriptors() {
    rlimit most{};
    getrlimit(RLIMIT_NOFILE, &most);
    std::vector<int> open;
    for (int fd = 0; fd < static_cast<int>(most.rlim_cur); ++fd) {
        if (isOpen(fd)) open.push_back(fd);
    }
    return open;
}

}  // namespace probe
