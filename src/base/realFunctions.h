#pragma once

// The real functions: the next definitions after the agent in the dynamic linker's search order.
//
// The agent never calls a socket function by its plain name, because inside the agent that name is
// its own entry point.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>

#include "base/callTable.h"

// One pointer per function, null until resolved and never cleared. Relaxed order is enough: every
// thread that resolves a function stores the same value, and nothing else is published with it.
#define DECLARE_POINTER(ret, name, params, args)                                  \
    using name##_function = ret(*) params;                                        \
    static_assert(sizeof(static_cast<name##_function>(&::name)) != 0, "as in C"); \
    extern std::atomic<name##_function> name##_ptr;
INTERPOSED_CALLS(DECLARE_POINTER, DECLARE_POINTER)
RESOLVED_CALLS(DECLARE_POINTER)
#undef DECLARE_POINTER

extern std::atomic<int (*)()> WSAGetLastError_ptr;
extern std::atomic<void (*)(int)> WSASetLastError_ptr;

// Resolves one interposed function, without a trace, if that has not been done yet.
#define DECLARE_RESOLVER(ret, name, params, args) void Init##name();
INTERPOSED_CALLS(DECLARE_RESOLVER, DECLARE_RESOLVER)
#undef DECLARE_RESOLVER

// The wrappers: each takes and returns what the real function does. A function that is not resolved
// yet is looked up first (which leaves an INFO trace); one that cannot be found gives 0 or null.
#define DECLARE_WRAPPER(ret, name, params, args) ret True_##name params;
#define DECLARE_NO_WRAPPER(ret, name, params, args)
INTERPOSED_CALLS(DECLARE_WRAPPER, DECLARE_NO_WRAPPER)
RESOLVED_CALLS(DECLARE_WRAPPER)
#undef DECLARE_NO_WRAPPER
#undef DECLARE_WRAPPER

// The error code through the pointers that start-up fills with the two functions below; before
// that, True_WSAGetLastError gives 0 and True_WSASetLastError does nothing.
int True_WSAGetLastError();
void True_WSASetLastError(int code);

// Returns errno.
int WSAGetLastError();
// Stores `code` into errno.
void WSASetLastError(int code);
