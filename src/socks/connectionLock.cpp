#include <algorithm>
#include <array>
#include <csignal>

#include "socks/Socks.h"

namespace {

// This thread's rerouted connects: more than one when a signal handler connects another socket.
struct OwnConnect {
    SOCKETINFO* record;
    const void* frame;
    Cancellability cancellability;
    bool isLocked;
};
constexpr std::size_t mostOwnConnects = 4;
constinit thread_local std::array<OwnConnect, mostOwnConnects> ownConnects{};
constinit thread_local std::size_t ownConnectCount = 0;

OwnConnect* ownConnectsEnd() {
    return ownConnects.data() + ownConnectCount;
}

bool isOwnConnect(const SOCKETINFO* record) {
    return std::any_of(ownConnects.data(), ownConnectsEnd(),
                       [record](const OwnConnect& own) { return own.record == record; });
}

bool isOnSignalStack() {
    stack_t stack{};
    return sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_ONSTACK) != 0;
}

void endNewestOwnConnect() {
    const OwnConnect& own = ownConnects[--ownConnectCount];
    if (own.isLocked) EndCriticalSectionBase(&own.record->connectionLock);
    restoreCancellation(own.cancellability);
}

// A handler may have left a connect by a jump: its frame then lies below the one that asks.
void endAbandonedConnects(const void* frame) {
    while (ownConnectCount != 0 && ownConnects[ownConnectCount - 1].frame < frame &&
           !isOnSignalStack()) {
        freeMemoLockedSocket(ownConnects[ownConnectCount - 1].record);
        endNewestOwnConnect();
    }
}

void traceNoLock(int callNumber, int fd) {
    x_disp(TRACE_ERROR, "[%d]** LOCK NULL (socket : %x) **", callNumber, static_cast<unsigned>(fd));
}

}  // namespace

// Not inlined, so that the frame that is noted lies below that of the connect: whoever comes at the
// connect's own depth later on is above it.
[[gnu::noinline]] bool lock_connection(SOCKETINFO* record, int callNumber) {
    const int fd = getSocket(record);
    if (fd == -1 || !isSocksModeActive()) return true;
    const void* const frame = __builtin_frame_address(0);
    endAbandonedConnects(frame);
    if (isOwnConnect(record) || ownConnectCount == mostOwnConnects) return false;
    x_disp(TRACE_INFO, "[%d]** locking socket : %x **", callNumber, static_cast<unsigned>(fd));
    CriticalSection* const lock = createMemoLockedSocket(record);
    if (lock == nullptr) {
        traceNoLock(callNumber, fd);
        return true;
    }
    // Noted first, for a handler that comes before the lock is there.
    OwnConnect& own = ownConnects[ownConnectCount++];
    own = {record, frame, disableCancellation(), false};
    StartCriticalSectionBase(lock);
    own.isLocked = true;
    return true;
}

void unlock_connection(SOCKETINFO* record, int callNumber) {
    const int fd = getSocket(record);
    if (fd == -1 || !isSocksModeActive()) return;
    x_disp(TRACE_INFO, "[%d]** unlocking socket : %x **", callNumber, static_cast<unsigned>(fd));
    if (freeMemoLockedSocket(record) == nullptr) return traceNoLock(callNumber, fd);
    endNewestOwnConnect();
}

bool waitForReroutedConnect(SOCKETINFO* record, int callNumber) {
    if (ownConnectCount != 0) endAbandonedConnects(__builtin_frame_address(0));
    CriticalSection* const lock = isLockedSocket(record);
    if (lock == nullptr) return true;
    if (isOwnConnect(record)) return false;
    const auto fd = static_cast<unsigned>(getSocket(record));
    x_disp(TRACE_INFO, "[%d]** socket locked (waiting) : %x **", callNumber, fd);
    StartCriticalSectionBase(lock);
    EndCriticalSectionBase(lock);
    x_disp(TRACE_INFO, "[%d]** socket unlocked : %x **", callNumber, fd);
    return true;
}

void endOtherThreadsConnects() {
    resetConnectionLocks(&isOwnConnect);
}
