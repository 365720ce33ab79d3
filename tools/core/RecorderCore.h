#pragma once

// The recorder core: the one clock that agents read for their nanosecond stamps.

// The system's wall-clock time in nanoseconds since the Unix epoch, or -1, which agents take for no
// time at all, when the system has no such clock. May be called by any thread and by signal
// handlers. Changes no error code.
extern "C" long long currentTime();
