#include "core/RecorderCore.h"

#include <time.h>

#include <cerrno>

extern "C" __attribute__((visibility("default"))) long long currentTime() {
    const int savedErrno = errno;
    timespec now{};
    // The same clock as that of the agent's milliseconds, so that both stamps agree.
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        errno = savedErrno;
        return -1;
    }
    return static_cast<long long>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}
