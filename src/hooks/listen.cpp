#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"

int Mylisten(int fd, int backlog) {
    HookErrorCode error;
    const CallNumbers numbers;
    s_disp(fd, TRACE_CALL, "[%d]listen %lx", numbers.callNumber, shownSocket(fd));
    s_disp(fd, TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "listen");
    const int result = error.around([&] { return True_listen(fd, backlog); });

    if (result == -1) {
        x_disp(TRACE_RET, "[%d]listen (SOCKET ERROR : %d %s : %s):", numbers.callNumber,
               error.code(), getSocketErrorKind(error.code()), getSocketErrorMsg(error.code()));
    } else {
        x_disp(TRACE_RET, "[%d]listen (OK):", numbers.callNumber);
    }
    sendNotHookedInfo("listen");
    return result;
}
