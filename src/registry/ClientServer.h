#pragma once

// The socket registry: what the hooks remember of every socket that the application created.

#include <sys/socket.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>

#include "base/CriticalSection.h"
#include "base/utils.h"

enum SocketFlag : std::uint32_t {
    SOCKET_OPENED = 0x01,       // a connect was made on it
    SOCKET_ACCEPTED = 0x02,     // an accept was recorded on it
    SOCKET_REROUTED = 0x04,     // its connect went through a SOCKS server
    SOCKET_LOCKED = 0x08,       // that connect is still going on
    SOCKET_NON_BLOCKING = 0x10  // created non-blocking
};

// One record. Records are never freed while the process runs, so a pointer to one stays valid; the
// fields that other threads read without a lock are atomic.
struct SOCKETINFO {
    SOCKETINFO* next;                  // in the list that holds the record
    std::atomic<std::int32_t> socket;  // the descriptor; 0 while the record is released
    std::atomic<std::uint32_t> flags;  // SocketFlag bits
    std::int32_t destinationLength;    // bytes of `destination`; 0: none
    std::atomic<std::int32_t> type;    // without the non-blocking and close-on-exec bits
    std::atomic<std::int32_t> protocol;
    std::atomic<std::int32_t> family;  // Linux numbering
    CriticalSection connectionLock;    // held during a rerouted connect; kept across reuse
    sockaddr_storage destination;      // what the application asked a rerouted connect for
    SOCKETINFO* previous;              // in the list of live records: unlinking needs no walk
};

// --- Record life (socketRecords.cpp) ---

// Creates the registry's locks and empties its lists, once.
void preInitializeMemo();

// The live record of `socket`, made anew or, if there is one, updated in place with its other marks
// kept. `nonBlocking` is 0 or 1. Null for socket 0 and when memory is short (with an ERROR trace).
SOCKETINFO* createSocketInfo(int socket, int family, int type, int nonBlocking, int protocol);

// The live record of `socket`, or null. Takes constant time and no lock, and may be called from a
// signal handler.
SOCKETINFO* getSocketInfo(int socket);

// Releases the record of `socket` for reuse. Returns 1, or 0 if there is none.
int freeSocketInfo(int socket);

// Around a close: takes the record out, so that another thread that is given the number finds none
// of it; then releases it with its marks cleared, or puts it back when the close failed. False,
// with nothing done, when the record is not the live one of `socket` any more.
bool withdrawSocketInfo(SOCKETINFO* record, int socket);
void releaseWithdrawnSocketInfo(SOCKETINFO* record);
void restoreSocketInfo(SOCKETINFO* record, int socket);

// For a new socket: the record as createSocketInfo makes it, with clean marks even if the number's
// last close went unseen.
SOCKETINFO* registerNewSocket(int socket, int family, int type, int nonBlocking, int protocol);

// In a forked child: makes the connection lock of every record anew and takes the locked mark away,
// except where `isKept` answers true.
void resetConnectionLocks(bool (*isKept)(const SOCKETINFO* record));

// Frees every record and the locks. Only while nothing else uses the registry.
void cleanSocketInfo();

// Create and destroy a further lock, for outside callers.
void InitializeLists();
void FinalizeLists();

// Calls `visit(record)` for every live record, newest first, with the list lock held.
template <typename Visit>
void forEachSocketInfo(Visit&& visit);

// --- Marks and fields (socketMarks.cpp); every one accepts a null record ---

int getSocket(const SOCKETINFO* record);    // null: -1
int getProtocol(const SOCKETINFO* record);  // null: 0
int getFamily(const SOCKETINFO* record);    // null: 0
void setFamily(SOCKETINFO* record, int family);

// 1 if the mark is set, else 0.
int isOpenedSocket(const SOCKETINFO* record);
int isAcceptedSocket(const SOCKETINFO* record);
int isSocketRerouted(const SOCKETINFO* record);

void createMemoOpenedSocket(SOCKETINFO* record);
void createMemoAcceptedSocket(SOCKETINFO* record);
void freeOpenedSocket(SOCKETINFO* record);
void freeAcceptedSocket(SOCKETINFO* record);

// Sets the accepted mark. True for the one caller that found it clear, and always for a null
// record, which has no mark to keep.
bool claimAcceptedMark(SOCKETINFO* record);

// Clear the mark and return 1 if it was set, else 0.
int freeMemoOpenedSocket(SOCKETINFO* record);
int freeMemoAcceptedSocket(SOCKETINFO* record);
int removeSockaddrElem(SOCKETINFO* record);

// Set and clear the locked mark and return the record's connection lock; null, and nothing done,
// when SOCKS mode is off. isLockedSocket gives the lock only while the mark is set.
CriticalSection* createMemoLockedSocket(SOCKETINFO* record);
CriticalSection* freeMemoLockedSocket(SOCKETINFO* record);
CriticalSection* isLockedSocket(SOCKETINFO* record);

// --- Rerouted destination (socketMarks.cpp) ---

// Stores the destination (`length` in bytes, cut at 128) and sets the rerouted mark. 1, or -1 for a
// null record.
int createSockaddrElem(SOCKETINFO* record, const struct sockaddr* address, int length);

// 0 if the record is null or not rerouted. Else 1, with the stored destination in `address`, its
// length in `length` and 0 in `error`; if none is stored or `length` bytes are too few, only
// `error` is set, to 14.
int getSockaddrValues(SOCKETINFO* record, struct sockaddr* address, socklen_t* length, int* error);

// --- Traces for a socket (socketTraces.cpp) ---

// As x_disp, but silent for unknown sockets and for those of the local family.
void s_disp(int socket, DebugMessageKind kind, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void si_disp(const SOCKETINFO* record, DebugMessageKind kind, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void vsi_disp(const SOCKETINFO* record, DebugMessageKind kind, const char* format,
              va_list arguments) __attribute__((format(printf, 3, 0)));

// True when si_disp would write a line of this kind for the record.
inline bool isTraceWrittenFor(const SOCKETINFO* record, DebugMessageKind kind) {
    constexpr int localFamily = AF_UNIX;
    return isTraceWritten(kind) && record != nullptr && getFamily(record) != localFamily;
}

// The arguments of a line that is not written are not even evaluated: nearly every call passes here
// without a log file.
#define si_disp(record, kind, ...) \
    (isTraceWrittenFor(record, kind) ? (si_disp)(record, kind, __VA_ARGS__) : static_cast<void>(0))

// --- Displays: INFO traces for diagnostics (socketDisplays.cpp) ---

void displayOpenedSocket(const SOCKETINFO* record);
void displayAllOpenedSocket();
void displayAllAcceptedSocket();
void displayAllLockedSocket();
void displayAllSocketInfo(const char* title);
void displaySockaddrElem(const SOCKETINFO* record);
void displaySockaddrList();

// The list of live records and its lock, for forEachSocketInfo alone.
extern SOCKETINFO* allSocketInfo;
extern CriticalSection criticalSectionSocketInfoList;

template <typename Visit>
void forEachSocketInfo(Visit&& visit) {
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    for (SOCKETINFO* record = allSocketInfo; record != nullptr; record = record->next)
        visit(record);
}
