#pragma once

#include <pthread.h>
#include <time.h>

#include "base/SignalBlock.h"

// A critical section is a plain, non-recursive POSIX mutex. One in zeroed static storage is
// unlocked and usable without being initialised.
using CriticalSection = pthread_mutex_t;

// Each returns the result code of the POSIX call: 0, or an error number.
int AllocCriticalSectionBase(CriticalSection* section);  // initialises with default attributes
int FreeCriticalSectionBase(CriticalSection* section);   // destroys
int StartCriticalSectionBase(CriticalSection* section);  // locks, waiting as long as it takes
int EndCriticalSectionBase(CriticalSection* section);    // unlocks

// The same, each after an INFO trace that names the section, the place and the line.
int AllocCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                                int line);
int FreeCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                               int line);
int StartCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                                int line);
int EndCriticalSectionDisplay(CriticalSection* section, const char* name, const char* place,
                              int line);

// Always 0: traces print it, nothing is keyed on it.
int GetCurrentThreadId();

// Guards the trace formatter, its buffer and the log file. Always the innermost lock.
extern CriticalSection criticalSectionLog;

// The moment in so many seconds, of the monotonic clock.
timespec deadlineIn(int seconds);

// Locks as StartCriticalSectionBase does, but gives up at the deadline. True when it has the lock.
bool StartCriticalSectionUntil(CriticalSection* section, const timespec& deadline);

// Holds a critical section from construction to the end of the scope, in which no signal handler
// runs and the thread is not cancelled.
class CriticalSectionHold {
public:
    explicit CriticalSectionHold(CriticalSection& section) : section_(section) {
        StartCriticalSectionBase(&section_);
    }
    ~CriticalSectionHold() { EndCriticalSectionBase(&section_); }
    CriticalSectionHold(const CriticalSectionHold&) = delete;
    CriticalSectionHold& operator=(const CriticalSectionHold&) = delete;

private:
    SignalBlock signals_;
    CriticalSection& section_;
};

// The same for a lock that others may hold for long: isHeld() tells whether it was to be had before
// the deadline.
class TimedCriticalSectionHold {
public:
    TimedCriticalSectionHold(CriticalSection& section, const timespec& deadline)
        : section_(section), isHeld_(StartCriticalSectionUntil(&section, deadline)) {}
    ~TimedCriticalSectionHold() {
        if (isHeld_) EndCriticalSectionBase(&section_);
    }
    TimedCriticalSectionHold(const TimedCriticalSectionHold&) = delete;
    TimedCriticalSectionHold& operator=(const TimedCriticalSectionHold&) = delete;

    bool isHeld() const { return isHeld_; }

private:
    SignalBlock signals_;
    CriticalSection& section_;
    bool isHeld_;
};
