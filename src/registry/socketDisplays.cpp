#include <netinet/in.h>

#include "base/addressText.h"
#include "registry/ClientServer.h"

namespace {

void displayMarked(SocketFlag flag) {
    forEachSocketInfo([flag](const SOCKETINFO* record) {
        if ((record->flags.load(std::memory_order_relaxed) & flag) != 0)
            displayOpenedSocket(record);
    });
}

}  // namespace

void displayOpenedSocket(const SOCKETINFO* record) {
    if (record == nullptr) {
        x_disp(TRACE_INFO, "(null)");
    } else {
        x_disp(TRACE_INFO, "%lx", static_cast<unsigned long>(getSocket(record)));
    }
}

void displayAllOpenedSocket() {
    displayMarked(SOCKET_OPENED);
}

void displayAllAcceptedSocket() {
    displayMarked(SOCKET_ACCEPTED);
}

void displayAllLockedSocket() {
    displayMarked(SOCKET_LOCKED);
}

void displayAllSocketInfo(const char* title) {
    x_disp(TRACE_INFO, "======= all socket info : %s ==============", title);
    forEachSocketInfo([](const SOCKETINFO* record) { displayOpenedSocket(record); });
    x_disp(TRACE_INFO, "==========================================================");
}

void displaySockaddrElem(const SOCKETINFO* record) {
    if (record == nullptr) return;
    AddressText address = {"<unknown>"};
    int port = 0;
    if (record->destination.ss_family == AF_INET) {
        const auto& ipv4 = reinterpret_cast<const sockaddr_in&>(record->destination);
        address = ipv4Text(ipv4.sin_addr);
        port = be16toh(ipv4.sin_port);
    } else if (record->destination.ss_family == AF_INET6) {
        const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(record->destination);
        address = ipv6Text(ipv6.sin6_addr);
        port = be16toh(ipv6.sin6_port);
    }
    x_disp(TRACE_INFO, "=> socket : %lx \tip : %s(%d)",
           static_cast<unsigned long>(getSocket(record)), address.text, port);
}

void displaySockaddrList() {
    x_disp(TRACE_INFO, "--------------- sockaddr list --------------------");
    forEachSocketInfo([](const SOCKETINFO* record) {
        if (isSocketRerouted(record) != 0) displaySockaddrElem(record);
    });
    x_disp(TRACE_INFO, "--------------------------------------------------");
}
