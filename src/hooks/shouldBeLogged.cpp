#include "hooks/HookSocket.h"
#include "socks/Socks.h"

const char* const ImageShouldBeLogged[4] = {"SHOULDBELOGGED", "SOCKSRECORDED", "UDPSOCKET",
                                            "NONINET"};

int shouldBeLogged(const SOCKETINFO* record) {
    const int family = getFamily(record);
    if (family != AF_INET6 && family != AF_INET) return NONINET;
    if (getProtocol(record) == IPPROTO_UDP) return UDPSOCKET;
    if (isSocksModeActive() && !doubleLogSocks.load(std::memory_order_relaxed)) {
        return isSocketRerouted(record) != 0 ? SOCKSRECORDED : SHOULDBELOGGED;
    }
    return SHOULDBELOGGED;
}
