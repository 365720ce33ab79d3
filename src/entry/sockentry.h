#pragma once

// The doors: what the library exports beside the C library's names, which sockentry.cpp and
// dlsymOverride.cpp define.

#include <atomic>

#include "base/export.h"
#include "base/realFunctions.h"

extern "C" {

// Each resolves the real function if need be and calls it at once: no start-up, trace or recording.
#define DECLARE_DIRECT(ret, name, params, args) VELTRA_EXPORT ret Direct##name params;
INTERPOSED_CALLS(DECLARE_DIRECT, DECLARE_DIRECT)
#undef DECLARE_DIRECT

// Whether VELTRA_SOCKET_AGENT_OPT_HOOK, respectively VELTRA_SOCKET_AGENT_OPT_HOOK_2, was set when
// it was first asked for. For outside callers: the agent itself does nothing with the answers.
VELTRA_EXPORT bool isOptionalSocketHook();
VELTRA_EXPORT bool isOptionalSocketHook2();
}

// 1 once start-up has configured tracing.
VELTRA_EXPORT extern std::atomic<int> globalInit;

// True until start-up is over. What every entry point tests first.
extern std::atomic<bool> startUpPending;

// The slow path of an entry point: starts the agent, or waits for the thread that does.
void prepareCall();

// Waits while another thread starts the agent, a few seconds at the most.
void waitForOtherThreadsStartUp();
