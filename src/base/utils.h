#pragma once

// The small services below everything else: symbol look-up, clocks, the trace writer with its
// per-process log file, and a few text utilities.

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

// --- Symbol look-up (symbolLookup.cpp) ---

// The C library's dlsym. `handle` is a library handle, RTLD_NEXT (-1: the next definition after the
// agent) or RTLD_DEFAULT (0: the global order, where the agent's own exports come first; on the
// very first call it means the agent itself). Returns the address, or null with dlerror() set.
void* Truedlsym(void* handle, const char* name);

// The agent's own handle, null until the first call of Truedlsym.
void* agentLibraryHandle();

// True when `address` lies in the agent's own library.
bool isInsideAgent(const void* address);

// The next definition of `name` after the agent, else the default one, else null. Leaves an INFO
// trace.
void* MyGetProcAddr(const char* name);

// `name` under `handle`, else the default definition, else null.
void* GetProcAddress(void* handle, const char* name);

// The address of GetProcAddress, through which start-up fills the table of real functions.
using GetProcAddressFunction = void* (*)(void* handle, const char* name);
GetProcAddressFunction getfGetProcAddress();

// Opens the library at `path` for good, all symbols bound at once, and returns its `name`. Where
// the library cannot be opened the name is looked up in the default order. Null when not found.
void* LoadSymbolFromLibrary(const char* path, const char* name);

// --- Clocks (clocks.cpp) ---

// The recorder core's clock (nanoseconds); null while no recorder core is loaded.
extern std::atomic<long long (*)()> getCurrentTimePtr;

// Milliseconds since the Unix epoch.
long long getTimeStamp();

// The recorder core's time in nanoseconds, or -1 when there is no recorder core.
long long getTimeStampNs();

// Milliseconds since `start`, a value of getTimeStamp().
long long getElapsedTime(long long start);

// Nanoseconds since `start`, a value of getTimeStampNs(); -1 when either time is not available.
long long getElapsedTimeNs(long long start);

// --- Traces (traceWriter.cpp) ---

enum DebugMessageKind : int {
    TRACE_ERROR = 0,  // failures of the agent's own work
    TRACE_INFO = 1,   // configuration banners and progress
    TRACE_HOOK = 2,   // reserved
    TRACE_CALL = 3,   // a call is entered
    TRACE_RET = 4,    // a call returned successfully
    TRACE_WARNI = 5,  // a call failed
    TRACE_DATA = 6,   // data contents
    TRACE_LAUNC = 7,  // reserved
    TRACE_LOW = 8,    // always enabled, never in the log file
    TRACE_GENER = 9,  // free text without a label
};

// The labels, each five characters, in the order of DebugMessageKind.
extern const char* const IMAGE_DEBUG[10];

// Bit mask of the enabled kinds: bit k enables kind k. All set until the environment is read.
extern std::atomic<std::int32_t> debugLvl;

// The line under construction and its size in bytes; both guarded by criticalSectionLog.
extern char* internal_buffer_display;
extern std::int32_t internal_buffer_display_size;

// The process id taken at start-up; a forked child keeps its parent's.
extern std::atomic<std::int32_t> currentProcessId;

// True for kind 8 and for every kind (modulo 32) whose bit is set in debugLvl.
bool isDebugLevelEnable(int kind);

// The bit mask of enabled kinds.
std::int32_t getDebugLvl();

// The log file's name; null while there is none.
extern std::atomic<char*> debugFileNameFlush;

// True when a log file was asked for, whether or not it could be opened.
inline bool hasLogFile() {
    return debugFileNameFlush.load(std::memory_order_acquire) != nullptr;
}

// True when a line of this kind would be written anywhere. Cheap: for callers that would have to
// prepare arguments.
inline bool isTraceWritten(int kind) {
    return kind == TRACE_LOW || (hasLogFile() && isDebugLevelEnable(kind));
}

// Writes one line (label, formatted text, newline) to the log file and the debug server, if the
// kind is enabled and there is a log file. `format` must not end in a newline. Callable from any
// thread at any time; never fails visibly. May change errno.
void x_disp(DebugMessageKind kind, const char* format, ...) __attribute__((format(printf, 2, 3)));
void vx_disp(DebugMessageKind kind, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

// The arguments of a line that is not written are not even evaluated.
#define x_disp(kind, ...) \
    (isTraceWritten(kind) ? (x_disp)(kind, __VA_ARGS__) : static_cast<void>(0))

// Creates the trace lock and an 8192-byte trace buffer, in place of an earlier one.
void initializeCriticalSections();

// Switches tracing off and releases the trace lock and buffer.
void cleanCriticalSections();

// Hands one finished line to the debug server, if one is connected. The trace writer calls it with
// criticalSectionLog held; it is defined beside the debug server's connection (socks/).
void sendDebugMessage(const char* line);

// --- The log file (logFile.cpp) ---

// Reads the debug level and directory from the environment, once, and opens the log file there, its
// name beginning with `prefix`.
void set_default_debug_display(const char* prefix);

// Replaces the log file by `fileName` (truncated); null means no log file. `directory` is shown in
// the header line only.
void set_file_display(const char* fileName, const char* directory);

// Builds "<dir><prefix>_<UTC time>_<pid><suffix>" into a heap text that the caller frees, and
// stores the size of its buffer in bytes. The text is null when memory is short.
void build_debug_file_name(const char* dir, const char* prefix, const char* suffix, char** name,
                           std::size_t* size);

// Appends a whole line to the log file, if it is open. The caller holds criticalSectionLog.
void writeToLogFile(const char* line, std::size_t length);

// Forgets the lines that are not yet in the log file: in a forked child, whose parent writes them.
void dropUnwrittenLines();

// --- Texts (textUtilities.cpp) ---

// Length of `text` in bytes.
std::uint32_t Mystrlen(const char* text);

// Turns 'A' to 'Z' of `text` into lower case, in place.
void Mystrtolower(char* text);

// Fills `count` bytes of `buffer` with `value`.
void Mymemset(char* buffer, char value, std::uint32_t count);
