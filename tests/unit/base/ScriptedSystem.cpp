#include "ScriptedSystem.h"

#include <sys/types.h>

#include <cstddef>
#include <utility>

ScriptedSystem scriptedSystem;

std::vector<std::string> ScriptedSystem::takeDebugServerLines() {
    return std::exchange(debugServerLines, {});
}

// The linker turns the calls of these functions in the program's own objects into calls of their
// namesakes with __wrap_, and gives the real ones the names with __real_.
extern "C" {
time_t __real_time(time_t* result);
time_t __wrap_time(time_t* result);
pid_t __real_getpid();
pid_t __wrap_getpid();
int __real_clock_gettime(clockid_t clock, timespec* result);
int __wrap_clock_gettime(clockid_t clock, timespec* result);
char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text);
// sendDebugMessage(const char*), as the compiler names it.
void __wrap__Z16sendDebugMessagePKc(const char* line);

time_t __wrap_time(time_t* result) {
    if (!scriptedSystem.time) return __real_time(result);
    if (result != nullptr) *result = *scriptedSystem.time;
    return *scriptedSystem.time;
}

pid_t __wrap_getpid() {
    return scriptedSystem.processId ? *scriptedSystem.processId : __real_getpid();
}

int __wrap_clock_gettime(clockid_t clock, timespec* result) {
    if (clock != CLOCK_REALTIME || !scriptedSystem.clock) {
        return __real_clock_gettime(clock, result);
    }
    *result = *scriptedSystem.clock;
    return 0;
}

char* __wrap_strdup(const char* text) {
    return scriptedSystem.strdupFails ? nullptr : __real_strdup(text);
}

void __wrap__Z16sendDebugMessagePKc(const char* line) {
    scriptedSystem.debugServerLines.emplace_back(line);
}
}
