#pragma once

#include <cstddef>

// Memory for message texts. Large texts have their own mapping, in large pages where the system has
// them: the allocator would hand back middling blocks as they are and pay for every page of the
// largest ones anew, and a message's cost would not stay in proportion to its payload.

// Returns `size` bytes, or null when memory is short.
char* allocateBuffer(std::size_t size);

// Gives back what allocateBuffer returned for `size`; null is accepted.
void releaseBuffer(char* buffer, std::size_t size);
