#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"

int Mysetsockopt(int fd, int level, int name, const void* val, socklen_t len) {
    HookErrorCode error;
    const CallNumbers numbers;
    const int callNumber = numbers.callNumber;
    x_disp(TRACE_CALL, "[%d]setsockopt(%s=>%x ,%s=>%d ,%s=>%d ,%s=>0x%p ,%s=>%d)", callNumber,
           "__fd", static_cast<unsigned>(fd), "__level", level, "__optname", name, "__optval", val,
           "__optlen", static_cast<int>(len));
    x_disp(TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "setsockopt");
    Initsetsockopt();
    const int result = error.around(
        [&] { return setsockopt_ptr.load(std::memory_order_relaxed)(fd, level, name, val, len); });
    if (result != 0) {
        x_disp(TRACE_RET, "[%d]setsockopt (SOCKET ERROR : %d %s : %s):", callNumber, error.code(),
               getSocketErrorKind(error.code()), getSocketErrorMsg(error.code()));
    } else {
        x_disp(TRACE_RET, "[%d]setsockopt (OK): %d", callNumber, 0);
    }
    return result;
}

int Mygetsockopt(int fd, int level, int name, void* val, socklen_t* len) {
    HookErrorCode error;
    s_disp(fd, TRACE_CALL, "getsockopt socket : %lx", shownSocket(fd));
    const int result = error.around([&] { return True_getsockopt(fd, level, name, val, len); });
    if (result != 0) {
        s_disp(fd, TRACE_ERROR, "getsockopt ERROR ");
    } else {
        s_disp(fd, TRACE_RET, "getsockopt OK ");
    }
    return result;
}
