#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"

namespace {

// Any result but zero counts as an error here, also a number of ready descriptors: established.
void traceResult(const char* name, int callNumber, int result, int error) {
    if (result != 0) {
        x_disp(TRACE_RET, "[%d]%s (SOCKET ERROR : %d %s : %s):", callNumber, name, error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
    } else {
        x_disp(TRACE_RET, "[%d]%s (OK): %d", callNumber, name, 0);
    }
}

}  // namespace

int Myselect(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
             struct timeval* timeout) {
    HookErrorCode error;
    const CallNumbers numbers;
    const int callNumber = numbers.callNumber;
    x_disp(TRACE_CALL, "[%d]select(%s=>%d,%s=>%p,%s=>%p,%s=>%p,%s=>%p)", callNumber, "nfds", nfds,
           "readfds", static_cast<void*>(readfds), "writefds", static_cast<void*>(writefds),
           "exceptfds", static_cast<void*>(exceptfds), "timeout", static_cast<void*>(timeout));
    x_disp(TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "select");
    Initselect();
    const int result = error.around([&] {
        return select_ptr.load(std::memory_order_relaxed)(nfds, readfds, writefds, exceptfds,
                                                          timeout);
    });
    traceResult("select", callNumber, result, error.code());
    sendNotHookedInfo("select");
    return result;
}

int Mypselect(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
              const struct timespec* timeout, const sigset_t* sigmask) {
    HookErrorCode error;
    const CallNumbers numbers;
    const int callNumber = numbers.callNumber;
    x_disp(TRACE_CALL, "[%d]pselect(%s=>%d,%s=>%p,%s=>%p,%s=>%p,%s=>%p,%s=>%p)", callNumber, "nfds",
           nfds, "readfds", static_cast<void*>(readfds), "writefds", static_cast<void*>(writefds),
           "exceptfds", static_cast<void*>(exceptfds), "timeout", static_cast<const void*>(timeout),
           "sigmask", static_cast<const void*>(sigmask));
    x_disp(TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "pselect");
    Initpselect();
    const int result = error.around([&] {
        return pselect_ptr.load(std::memory_order_relaxed)(nfds, readfds, writefds, exceptfds,
                                                           timeout, sigmask);
    });
    traceResult("pselect", callNumber, result, error.code());
    sendNotHookedInfo("pselect");
    return result;
}
