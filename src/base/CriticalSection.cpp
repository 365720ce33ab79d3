#include "base/CriticalSection.h"

#include "base/utils.h"

// The thread sanitizer does not know pthread_mutex_clocklock.
#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
static void tellThreadSanitizer(CriticalSection* section) {
    __tsan_mutex_pre_lock(section, __tsan_mutex_try_lock);
    __tsan_mutex_post_lock(section, __tsan_mutex_try_lock, 0);
}
#else
static void tellThreadSanitizer(CriticalSection*) {}
#endif

constinit CriticalSection criticalSectionLog = PTHREAD_MUTEX_INITIALIZER;

int AllocCriticalSectionBase(CriticalSection* section) {
    return pthread_mutex_init(section, nullptr);
}

int FreeCriticalSectionBase(CriticalSection* section) {
    return pthread_mutex_destroy(section);
}

int StartCriticalSectionBase(CriticalSection* section) {
    return pthread_mutex_lock(section);
}

timespec deadlineIn(int seconds) {
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += seconds;
    return deadline;
}

bool StartCriticalSectionUntil(CriticalSection* section, const timespec& deadline) {
    const bool isLocked = pthread_mutex_clocklock(section, CLOCK_MONOTONIC, &deadline) == 0;
    if (isLocked) tellThreadSanitizer(section);
    return isLocked;
}

int EndCriticalSectionBase(CriticalSection* section) {
    return pthread_mutex_unlock(section);
}

int AllocCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                                int line) {
    x_disp(TRACE_INFO, "Alloc CS %s in %s (%d):%d", name, place, line, GetCurrentThreadId());
    return AllocCriticalSectionBase(section);
}

int FreeCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                               int line) {
    x_disp(TRACE_INFO, "Free CS %s in %s (%d):%d", name, place, line, GetCurrentThreadId());
    return FreeCriticalSectionBase(section);
}

int StartCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                                int line) {
    x_disp(TRACE_INFO, "starting CS %s in %s (%d):%d", name, place, line, GetCurrentThreadId());
    return StartCriticalSectionBase(section);
}

int EndCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                              int line) {
    x_disp(TRACE_INFO, "ending CS %s in %s (%d):%d", name, place, line, GetCurrentThreadId());
    return EndCriticalSectionBase(section);
}

int GetCurrentThreadId() {
    return 0;
}
