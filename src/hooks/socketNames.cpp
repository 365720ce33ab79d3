#include <cerrno>
#include <cstring>

#include "base/applicationMemory.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"

int Mygetsockname(int fd, struct sockaddr* addr, socklen_t* len) {
    HookErrorCode error;
    s_disp(fd, TRACE_CALL, "getsockname socket : %lx", shownSocket(fd));
    const int result = error.around([&] { return True_getsockname(fd, addr, len); });
    if (result != 0) {
        s_disp(fd, TRACE_ERROR, "getsockname ERROR ");
    } else {
        s_disp(fd, TRACE_RET, "getsockname OK ");
    }
    return result;
}

// A socket that was rerouted through a SOCKS server has the peer that its application asked for.
int Mygetpeername(int fd, struct sockaddr* addr, socklen_t* len) {
    HookErrorCode error;
    SOCKETINFO* const record = getSocketInfo(fd);
    si_disp(record, TRACE_CALL, "getpeername socket : %lx", shownSocket(fd));
    if (addr != nullptr && isSocketRerouted(record) != 0 && isWritable(len, sizeof(*len))) {
        sockaddr_storage destination;
        socklen_t length = *len;
        int answer = 0;
        if (getSockaddrValues(record, reinterpret_cast<struct sockaddr*>(&destination), &length,
                              &answer) == 1) {
            if (answer == 0 && !isWritable(addr, length)) return error.refuse(EFAULT);
            if (answer == 0) std::memcpy(addr, &destination, length);
            *len = length;
            si_disp(record, TRACE_RET, "getpeername");
            return answer;
        }
    }
    const int result = error.around([&] { return True_getpeername(fd, addr, len); });
    si_disp(record, TRACE_RET, "getpeername");
    return result;
}
