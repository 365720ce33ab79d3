#pragma once

#include <cstdint>

// The process-wide numbers. Each sequence begins at 1, has no gaps and no repetitions whatever the
// number of threads, and wraps at its width.

// The ticket of the next event.
long long getTicket();

// The number of the next hook call, which opens the trace lines of that call.
std::int32_t getGlobalCpt();

// The next number of a sequence for the agent's own use.
std::int32_t getInternalCpt();

// Creates and destroys the counters' locks (global, internal, ticket), for outside callers: the
// counters work without them.
void initializeCounter();
void cleanCounter();
