#include <cerrno>
#include <cstring>

#include "base/addressText.h"
#include "base/realFunctions.h"
#include "socks/Socks.h"

constinit sockaddr_in serverIPV4 = {};
constinit sockaddr_in6 serverIPV6 = {};
constinit addrinfo* allLocalAdresses = nullptr;

namespace {

constinit bool socksServerAddressInitialized = false;

constexpr unsigned char ipv4_localhost[4] = {127, 0, 0, 1};
constexpr unsigned char localhost_bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr unsigned char mapped_ipv4_localhost[16] = {0, 0, 0,    0,    0,   0, 0, 0,
                                                     0, 0, 0xFF, 0xFF, 127, 0, 0, 1};

const sockaddr_in& asIpv4(const struct sockaddr* address) {
    return *reinterpret_cast<const sockaddr_in*>(address);
}

const sockaddr_in6& asIpv6(const struct sockaddr* address) {
    return *reinterpret_cast<const sockaddr_in6*>(address);
}

void prepareIpv4Server() {
    if (socksIpv4Val == nullptr) {
        x_disp(TRACE_INFO, "===> IPV4 val is NULL...");
        return;
    }
    serverIPV4.sin_family = AF_INET;
    serverIPV4.sin_port = True_htons(static_cast<std::uint16_t>(socksPort4Val));
    serverIPV4.sin_addr.s_addr = True_inet_addr(socksIpv4Val);
    x_disp(TRACE_INFO, "===> IPV4 socks : %s(%d)", socksIpv4Val, socksPort4Val);
}

void prepareIpv6Server() {
    if (socksIpv6Val == nullptr) {
        x_disp(TRACE_INFO, "===> IPV6 val is NULL...");
        return;
    }
    serverIPV6.sin6_family = AF_INET6;
    True_inet_pton(AF_INET6, socksIpv6Val, &serverIPV6.sin6_addr);
    serverIPV6.sin6_port = True_htons(static_cast<std::uint16_t>(socksPort6Val));
    x_disp(TRACE_INFO, "===> IPV6 socks : %s(%d)", socksIpv6Val, socksPort6Val);
}

// True for the one caller that is to do the one-time part. The lock is not held during it: resolver
// modules are foreign code that may call back into the hooks.
bool claimOneTimePart() {
    const CriticalSectionHold hold(criticalSectionSocks);
    const bool first = !socksServerAddressInitialized;
    socksServerAddressInitialized = true;
    return first;
}

void traceLocalAddress(const addrinfo& entry) {
    if (entry.ai_family == AF_INET) {
        x_disp(TRACE_INFO, "==> (IPV4) %s", ipv4Text(asIpv4(entry.ai_addr).sin_addr).text);
    } else if (entry.ai_family == AF_INET6) {
        x_disp(TRACE_INFO, "==> (IPV6) %s", ipv6Text(asIpv6(entry.ai_addr).sin6_addr).text);
    }
}

bool isLocalIpv4(const in_addr& address) {
    if (std::memcmp(&address, ipv4_localhost, sizeof(ipv4_localhost)) == 0) return true;
    for (const addrinfo* entry = allLocalAdresses; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET &&
            asIpv4(entry->ai_addr).sin_addr.s_addr == address.s_addr) {
            return true;
        }
    }
    return false;
}

// Only the two loopback forms: the host's own IPv6 addresses do not count as local.
bool isLocalIpv6(const in6_addr& address) {
    return std::memcmp(&address, localhost_bytes, sizeof(localhost_bytes)) == 0 ||
           std::memcmp(&address, mapped_ipv4_localhost, sizeof(mapped_ipv4_localhost)) == 0;
}

bool isBoundHere(int fd, int family, std::uint16_t portInNetworkOrder) {
    std::uint16_t port = be16toh(portInNetworkOrder);
    if (port == 0) port = static_cast<std::uint16_t>(getLocalPort(fd, family));
    return isPortBound(port);
}

}  // namespace

void initializeStartup() {
    if (claimOneTimePart()) {
        x_disp(TRACE_INFO, "===> WSAStartup : starting to resolve local addresses");
        resolveLocalAdresses();
        if (isSocksModeActive()) {
            x_disp(TRACE_INFO, "===> retrieving socks server info");
            prepareIpv4Server();
            prepareIpv6Server();
        }
    }
    x_disp(TRACE_INFO, "===> WSAStartup : local addresses solved");
}

void resolveLocalAdresses() {
    if (allLocalAdresses != nullptr) return;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* found = nullptr;
    if (True_getaddrinfo("", nullptr, &hints, &found) != 0) {
        x_disp(TRACE_ERROR, "Bad host lookup");
        return;
    }
    allLocalAdresses = found;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        traceLocalAddress(*entry);
    }
}

bool isBindedLocalHost(int fd, const struct sockaddr* address, socklen_t) {
    if (address == nullptr) return false;
    const int saved = errno;
    bool bound = false;
    if (address->sa_family == AF_INET && isLocalIpv4(asIpv4(address).sin_addr)) {
        bound = isBoundHere(fd, AF_INET, asIpv4(address).sin_port);
    } else if (address->sa_family == AF_INET6 && isLocalIpv6(asIpv6(address).sin6_addr)) {
        bound = isBoundHere(fd, AF_INET6, asIpv6(address).sin6_port);
    }
    errno = saved;
    return bound;
}

bool isStreamSocket(int fd, int family) {
    if (family != AF_INET && family != AF_INET6) return false;
    const int saved = errno;
    int type = 0;
    socklen_t length = sizeof(type);
    const int result = True_getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length);
    errno = saved;
    return result == 0 && type == SOCK_STREAM;
}
