#include "base/addressText.h"
#include "base/applicationMemory.h"
#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"
#include "socks/Socks.h"

namespace {

void memorisePort(int callNumber, int fd, int family, const AddressText& ip,
                  in_port_t portInNetworkOrder) {
    int port = True_ntohs(portInNetworkOrder);
    if (port == 0) port = getLocalPort(fd, family);
    s_disp(fd, TRACE_INFO, "[%d] familly %s \tip %s\t port %d", callNumber, familyToString(family),
           ip.text, port);
    createBindedPortMemo(fd, static_cast<std::uint16_t>(port));
}

// A failed bind is memorised too: the port then counts as one of this process.
void memoriseAddress(int callNumber, int fd, const AddressCopy& address) {
    if (address.family() == AF_INET) {
        memorisePort(callNumber, fd, AF_INET, ipv4Text(address.ipv4().sin_addr),
                     address.ipv4().sin_port);
    } else if (address.family() == AF_INET6) {
        memorisePort(callNumber, fd, AF_INET6, ipv6Text(address.ipv6().sin6_addr),
                     address.ipv6().sin6_port);
    }
}

}  // namespace

int Mybind(int fd, const struct sockaddr* addr, socklen_t len) {
    HookErrorCode error;
    const CallNumbers numbers;
    if (socketInitialized.load(std::memory_order_acquire) == 0) initializeSocketPointers();
    s_disp(fd, TRACE_CALL, "[%d]bind %lx", numbers.callNumber, shownSocket(fd));
    s_disp(fd, TRACE_INFO, "<NOT_RECORDED_HOOK> %s", "bind");
    const int result = error.around([&] { return True_bind(fd, addr, len); });

    if (result == -1) {
        x_disp(TRACE_RET, "[%d]bind (SOCKET ERROR : %d %s : %s):", numbers.callNumber, error.code(),
               getSocketErrorKind(error.code()), getSocketErrorMsg(error.code()));
    } else {
        x_disp(TRACE_RET, "[%d]bind (OK):", numbers.callNumber);
    }
    memoriseAddress(numbers.callNumber, fd, AddressCopy(addr, len));
    sendNotHookedInfo("bind");
    return result;
}
