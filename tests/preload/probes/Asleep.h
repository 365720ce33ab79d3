#pragma once

// Waiting until another thread waits.

#include <fcntl.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace probe {

// Whether the thread of this process waits for something. Without calls that the agent sees.
inline bool isAsleep(pid_t thread) {
    const std::string file = "/proc/self/task/" + std::to_string(thread) + "/stat";
    char text[256] = "";
    const long stat = syscall(SYS_openat, AT_FDCWD, file.c_str(), O_RDONLY);
    syscall(SYS_read, stat, text, sizeof(text) - 1);
    syscall(SYS_close, stat);
    const char* const state = std::strrchr(text, ')');
    return state != nullptr && state[2] == 'S';
}

inline void waitUntilAsleep(pid_t thread) {
    while (!isAsleep(thread))
        sched_yield();
}

}  // namespace probe
