#include "base/CriticalSection.h"

#include "base/utils.h"

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
    return pthread_mutex_clocklock(section, CLOCK_MONOTONIC, &deadline) == 0;
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
