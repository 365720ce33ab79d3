#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "hooks/tracedText.h"
#include "recording/AgentInterface.h"

// Look-ups that are traced and announced, but not recorded.

int Mygethostname(char* name, size_t length) {
    HookErrorCode error;
    const CallNumbers numbers;
    const int callNumber = numbers.callNumber;
    x_disp(TRACE_CALL, "[%d]gethostname ", callNumber);
    x_disp(TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "gethostname");
    const int result = error.around([&] { return True_gethostname(name, length); });
    if (result == 0) {
        // The name ends without a zero byte where the buffer is just long enough.
        const TracedText shown = tracedText(name, length);
        x_disp(TRACE_RET, "[%d]gethostname (OK): \"%.*s\"", callNumber, shown.length, shown.text);
    } else {
        x_disp(TRACE_RET, "[%d]gethostname (SOCKET ERROR : %d %s : %s):", callNumber, error.code(),
               getSocketErrorKind(error.code()), getSocketErrorMsg(error.code()));
    }
    sendNotHookedInfo("gethostname");
    return result;
}

struct servent* Mygetservbyport(int port, const char* protocol) {
    HookErrorCode error;
    const CallNumbers numbers;
    x_disp(TRACE_CALL, "[%d]getservbyport ", numbers.callNumber);
    x_disp(TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "getservbyport");
    struct servent* const service =
        error.around([&] { return True_getservbyport(port, protocol); });
    x_disp(TRACE_RET, "[%d]getservbyport (OK):", numbers.callNumber);
    sendNotHookedInfo("getservbyport");
    return service;
}

struct servent* Mygetservbyname(const char* name, const char* protocol) {
    HookErrorCode error;
    const CallNumbers numbers;
    x_disp(TRACE_CALL, "[%d]getservbyname ", numbers.callNumber);
    x_disp(TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "getservbyname");
    struct servent* const service =
        error.around([&] { return True_getservbyname(name, protocol); });
    x_disp(TRACE_RET, "[%d]getservbyname (OK):", numbers.callNumber);
    sendNotHookedInfo("getservbyname");
    return service;
}
