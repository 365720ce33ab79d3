#include "base/addressText.h"
#include "base/traceUtils.h"
#include "hooks/HookSocket.h"

namespace {

void setIpAndPort(RecorderMessage& message, const AddressText& ip, in_port_t port) {
    message.set(RecorderMessageAttribute::ip, ip.text, 0);
    message.set(RecorderMessageAttribute::port, static_cast<int>(True_ntohs(port)));
}

}  // namespace

void fillMsgWithName(RecorderMessage* message, const struct sockaddr* address) {
    if (socketInitialized.load(std::memory_order_acquire) == 0) initializeSocketPointers();
    if (address == nullptr) {
        x_disp(TRACE_ERROR, "name is null => can't fill message");
        return;
    }
    message->set(RecorderMessageAttribute::family, familyToString(address->sa_family), 0);
    if (address->sa_family == AF_INET) {
        const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(address);
        setIpAndPort(*message, ipv4Text(ipv4.sin_addr), ipv4.sin_port);
    } else if (address->sa_family == AF_INET6) {
        const auto& ipv6 = *reinterpret_cast<const sockaddr_in6*>(address);
        setIpAndPort(*message, ipv6Text(ipv6.sin6_addr), ipv6.sin6_port);
    }
}
