#pragma once

#include <new>
#include <utility>

#include "base/agentMemory.h"

// Objects in the agent's own memory, for a library that has neither exceptions nor the C++
// runtime's allocator (which would run code when the library is loaded).

// A new object, or null when memory is short.
template <typename Object, typename... Arguments>
Object* makeOnHeap(Arguments&&... arguments) {
    void* const memory = allocateMemory(sizeof(Object));
    return memory == nullptr ? nullptr : new (memory) Object(std::forward<Arguments>(arguments)...);
}

// Destroys what makeOnHeap made; null is accepted.
template <typename Object>
void destroyOnHeap(Object* object) {
    if (object == nullptr) return;
    object->~Object();
    releaseMemory(object, sizeof(Object));
}
