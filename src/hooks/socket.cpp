#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"

namespace {

// What the system makes of a protocol of 0.
int effectiveProtocol(int type, int protocol) {
    if (protocol != 0) return protocol;
    switch (type) {
        case SOCK_STREAM:
            return IPPROTO_TCP;
        case SOCK_DGRAM:
            return IPPROTO_UDP;
        default:
            return 0;
    }
}

}  // namespace

int Mysocket(int domain, int type, int protocol) {
    HookErrorCode error;
    const int callNumber = getGlobalCpt();
    pre_init_startup();
    x_disp(TRACE_CALL, "[%d]socket ", callNumber);
    const int fd = error.around([&] { return True_socket(domain, type, protocol); });

    const int plainType = type & ~(SOCK_NONBLOCK | SOCK_CLOEXEC);
    const int registeredProtocol = effectiveProtocol(plainType, protocol);
    if (fd == -1) {
        x_disp(TRACE_WARNI,
               "[%d]socket (INVALID_SOCKET : %d %s : %s):\t af = (%d)%s,\t type = (%d)%s,\t "
               "protocol = "
               "(%d)%s",
               callNumber, error.code(), getSocketErrorKind(error.code()),
               getSocketErrorMsg(error.code()), domain, afToString(domain), type,
               typeToString(type), protocol, protocolToString(registeredProtocol));
        return fd;
    }
    registerNewSocket(fd, domain, plainType, (type & SOCK_NONBLOCK) != 0 ? 1 : 0,
                      registeredProtocol);
    x_disp(TRACE_RET,
           "[%d]socket (OK):\tsocket : %lx\t af = (%d)%s,\t type = (%d)%s,\t protocol = (%d)%s",
           callNumber, shownSocket(fd), domain, afToString(domain), type, typeToString(type),
           protocol, protocolToString(registeredProtocol));
    return fd;
}
