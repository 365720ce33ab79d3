#pragma once

// Child processes that must not hang.

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace probe {

inline constexpr int hangsAfterMilliseconds = 20'000;

// Waits for the child's end. Returns its exit status, or -1 if it ended in another way or hangs;
// then it is ended.
inline int exitStatusOf(pid_t child) {
    const long handle = syscall(SYS_pidfd_open, child, 0);
    pollfd ended{static_cast<int>(handle), POLLIN, 0};
    if (handle != -1 && syscall(SYS_poll, &ended, 1, hangsAfterMilliseconds) == 0)
        kill(child, SIGKILL);
    syscall(SYS_close, handle);
    int status = 0;
    if (waitpid(child, &status, 0) != child) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace probe
