#include <time.h>

#include "base/utils.h"

constinit std::atomic<long long (*)()> getCurrentTimePtr{nullptr};

long long getTimeStamp() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

long long getTimeStampNs() {
    const auto currentTime = getCurrentTimePtr.load(std::memory_order_relaxed);
    return currentTime == nullptr ? -1 : currentTime();
}

long long getElapsedTime(long long start) {
    return getTimeStamp() - start;
}

long long getElapsedTimeNs(long long start) {
    if (start == -1) return -1;
    const long long now = getTimeStampNs();
    return now == -1 ? -1 : now - start;
}
