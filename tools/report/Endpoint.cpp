#include "report/Endpoint.h"

#include <arpa/inet.h>

#include <cstring>
#include <string>

namespace veltra {

namespace {

constexpr const char* standInLocalIpv4 = "192.0.2.1";
constexpr const char* standInLocalIpv6 = "2001:db8::1";
constexpr const char* standInPeer = "198.51.100.1";
constexpr std::uint16_t standInPeerPort = 9;
constexpr std::uint64_t firstDynamicPort = 49152;
constexpr std::uint64_t dynamicPorts = 65536 - firstDynamicPort;

Endpoint ipv4Endpoint(const char* address) {
    Endpoint endpoint;
    ::inet_pton(AF_INET, address, &endpoint.ipv4);
    return endpoint;
}

Endpoint ipv6Endpoint(const char* address) {
    Endpoint endpoint;
    endpoint.isIpv6 = true;
    ::inet_pton(AF_INET6, address, &endpoint.ipv6);
    return endpoint;
}

Endpoint remoteOf(const std::optional<Peer>& peer) {
    Endpoint endpoint;
    if (peer && ::inet_pton(AF_INET, peer->ip.c_str(), &endpoint.ipv4) == 1) {
        endpoint.port = peer->port;
    } else if (peer && ::inet_pton(AF_INET6, peer->ip.c_str(), &endpoint.ipv6) == 1) {
        endpoint.port = peer->port;
        endpoint.isIpv6 = !IN6_IS_ADDR_V4MAPPED(&endpoint.ipv6);
        std::memcpy(&endpoint.ipv4, &endpoint.ipv6.s6_addr[12], sizeof(endpoint.ipv4));
    } else {
        endpoint = ipv4Endpoint(standInPeer);
        endpoint.port = standInPeerPort;
    }
    return endpoint;
}

Endpoint localFor(const Endpoint& remote) {
    constexpr std::uint32_t loopbackNetwork = 127;
    if (remote.isIpv6) {
        return ipv6Endpoint(IN6_IS_ADDR_LOOPBACK(&remote.ipv6) ? "::1" : standInLocalIpv6);
    }
    const bool isLoopback = ntohl(remote.ipv4.s_addr) >> 24U == loopbackNetwork;
    return ipv4Endpoint(isLoopback ? "127.0.0.1" : standInLocalIpv4);
}

}  // namespace

EndpointPair endpointsOf(const Conversation& conversation) {
    EndpointPair pair;
    pair.remote = remoteOf(conversation.peer);
    pair.local = localFor(pair.remote);
    pair.local.port = conversation.localPort.value_or(
        static_cast<std::uint16_t>(firstDynamicPort + conversation.number % dynamicPorts));
    return pair;
}

}  // namespace veltra
