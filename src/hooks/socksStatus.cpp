#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/HookSocket.h"
#include "socks/Socks.h"

namespace {

constexpr const char* stars = "*************************************************************";

// Closes the application's own descriptor. False, with a trace, when that fails.
bool closeSocksSocket(int fd) {
    if (True_close(fd) != -1) return true;
    const int error = True_WSAGetLastError();
    x_disp(TRACE_ERROR, "error closing socks socket : %d %s : %s", error, getSocketErrorKind(error),
           getSocketErrorMsg(error));
    return false;
}

}  // namespace

int checkSocksStatus(int fd, int socksStatus, bool& toReconnect, int& loopback, int& error) {
    toReconnect = false;
    loopback = 0;
    switch (socksStatus) {
        case SOCKS_SERVER_UNREACHABLE:
            x_disp(TRACE_ERROR, "connect failed on SOCKS server");
            x_disp(TRACE_INFO, "%s", stars);
            toReconnect = true;
            return -1;
        case SOCKS_NOT_APPLICABLE:
            toReconnect = true;
            return 0;
        case SOCKS_CONNECTED:
            // Read before the traces, which may change it.
            if (True_WSAGetLastError() == EAGAIN) error = EAGAIN;
            x_disp(TRACE_INFO, "SOCK connect worked fine");
            x_disp(TRACE_INFO, "%s", stars);
            return 0;
        case SOCKS_LOCAL_LOOP:
            toReconnect = true;
            loopback = 1;
            return SOCKS_LOCAL_LOOP;
        case SOCKS_FAILED:
            x_disp(TRACE_ERROR, "bad handshake on socks server");
            x_disp(TRACE_INFO, "%s", stars);
            // The direct connect that follows is made on the closed descriptor, and fails:
            // intended.
            toReconnect = closeSocksSocket(fd);
            return toReconnect ? SOCKS_FAILED : -1;
        case SOCKS_REFUSED:
            x_disp(TRACE_ERROR, "socks server can not connect to target");
            x_disp(TRACE_INFO, "%s", stars);
            error = ECONNREFUSED;
            closeSocksSocket(fd);
            return -1;
        default:
            x_disp(TRACE_ERROR, "unknown socks connect return code !!! %d", socksStatus);
            x_disp(TRACE_ERROR, "trying classic connect....");
            toReconnect = true;
            return socksStatus;
    }
}
