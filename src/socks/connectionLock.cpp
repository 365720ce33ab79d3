#include "socks/Socks.h"

namespace {

void traceNoLock(int callNumber, int fd) {
    x_disp(TRACE_ERROR, "[%d]** LOCK NULL (socket : %x) **", callNumber, static_cast<unsigned>(fd));
}

}  // namespace

void lock_connection(SOCKETINFO* record, int callNumber) {
    const int fd = getSocket(record);
    if (fd == -1 || !isSocksModeActive()) return;
    x_disp(TRACE_INFO, "[%d]** locking socket : %x **", callNumber, static_cast<unsigned>(fd));
    CriticalSection* const lock = createMemoLockedSocket(record);
    if (lock == nullptr) return traceNoLock(callNumber, fd);
    StartCriticalSectionBase(lock);
}

void unlock_connection(SOCKETINFO* record, int callNumber) {
    const int fd = getSocket(record);
    if (fd == -1 || !isSocksModeActive()) return;
    x_disp(TRACE_INFO, "[%d]** unlocking socket : %x **", callNumber, static_cast<unsigned>(fd));
    CriticalSection* const lock = freeMemoLockedSocket(record);
    if (lock == nullptr) return traceNoLock(callNumber, fd);
    EndCriticalSectionBase(lock);
}

void waitConnectionDone(SOCKETINFO* record, int callNumber) {
    if (!isSocksModeActive()) return;
    CriticalSection* const lock = isLockedSocket(record);
    if (lock == nullptr) return;
    const auto fd = static_cast<unsigned>(getSocket(record));
    x_disp(TRACE_INFO, "[%d]** socket locked (waiting) : %x **", callNumber, fd);
    StartCriticalSectionBase(lock);
    EndCriticalSectionBase(lock);
    x_disp(TRACE_INFO, "[%d]** socket unlocked : %x **", callNumber, fd);
}
