#pragma once

// The hook bodies, start-up's second stage and the process' end.

#include "base/export.h"
#include "base/realFunctions.h"
#include "recording/RecorderMessage.h"
#include "registry/ClientServer.h"

// --- Hook bodies (a file each, or one for calls of a kind) ---
//
// Each takes and returns what the C library's function does, traces the call, passes it to the real
// function, and records it if it is one that the recorder wants. The result and errno are those of
// the real call.

#define DECLARE_HOOK_BODY(ret, name, params, args) ret My##name params;

extern "C" {
INTERPOSED_CALLS(DECLARE_HOOK_BODY, DECLARE_HOOK_BODY)

// Called from outside, too.
VELTRA_EXPORT int Mygetaddrinfo(const char* node, const char* service, const struct addrinfo* hints,
                                struct addrinfo** res);

// No call of the application reaches these four: they are for outside callers only.
VELTRA_EXPORT struct hostent* Mygethostbyname(const char* name);
VELTRA_EXPORT int Mygethostname(char* name, size_t length);
VELTRA_EXPORT struct servent* Mygetservbyname(const char* name, const char* protocol);
VELTRA_EXPORT struct servent* Mygetservbyport(int port, const char* protocol);
}

#undef DECLARE_HOOK_BODY

// --- Start-up (startUp.cpp) ---

// One-time start-up of the whole agent: defined with the entry points (entry/), asked for by
// whoever comes first. Returns at once when it is running on this thread or done; another thread
// waits for it, a few seconds at the most. Keeps errno.
void GlobalInit();

// The second stage: recorder core, "process" message, recorder, real functions, SOCKS settings.
// Runs GlobalInit first if nobody has. Returns at once when it is done or running.
void initializeSocketPointers();

// Lets the second stage run in a forked child whose parent was in the middle of it.
void forgetInterruptedSecondStage();

// Set once the second stage has run.
extern std::atomic<int> socketInitialized;

// Whether data of rerouted sockets is recorded too.
extern std::atomic<bool> doubleLogSocks;

// Called at the beginning of socket and connect: the place for start-up work at each call. Empty.
void pre_init_startup();

extern "C" {
// Lets the second stage run once more at its next call.
VELTRA_EXPORT void cleanSocketPointers();

// Sends the "exit" message. Returns 0. For outside callers: the agent never calls it.
VELTRA_EXPORT int end();
}

// --- What the hook bodies share ---

// Appends "family" and, for IPv4 and IPv6, "ip" and "port". The address may be null (an ERROR
// trace, nothing appended) and must else be large enough for its family.
void fillMsgWithName(RecorderMessage* message, const struct sockaddr* address);

// Why a socket's data is not recorded; 0: it is.
enum RecordingDecision : int {
    SHOULDBELOGGED = 0,
    SOCKSRECORDED = 1,
    UDPSOCKET = 2,
    NONINET = 3,
};
extern const char* const ImageShouldBeLogged[4];  // the names in traces

// The RecordingDecision for a socket; a null record gives NONINET.
int shouldBeLogged(const SOCKETINFO* record);

// Turns the result of SocksConnect into what connect does next. `toReconnect`: whether the real
// connect is still to be called. `loopback`: 1 for a local loop. `error`: the error code to leave,
// unchanged where there is none. Returns the provisional result of the connect.
int checkSocksStatus(int fd, int socksStatus, bool& toReconnect, int& loopback, int& error);
