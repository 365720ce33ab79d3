#pragma once

#include <cstddef>

#include "base/CriticalSection.h"

// Memory of the agent's own. The application's allocator is out of the question while hooks run: a
// signal handler that calls one may have interrupted that allocator, and an allocator may itself
// call what is interposed. Both functions may be called from any thread and from a signal handler.

// Returns `size` bytes, aligned for every type, with any contents; null when memory is short.
void* allocateMemory(std::size_t size);

// Gives back what allocateMemory returned for `size`; null is accepted.
void releaseMemory(void* memory, std::size_t size);

// Guards the pieces of up to a page, for whoever has to hold all locks. Nothing is locked after it.
extern CriticalSection criticalSectionMemory;
