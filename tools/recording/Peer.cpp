#include "recording/Peer.h"

#include <arpa/inet.h>

#include <array>
#include <limits>

#include "recording/byteText.h"

namespace veltra {

namespace {

// The usual form of an address; empty if it is none.
std::string canonicalAddress(int family, const std::string& ip) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (ip.find('\0') != std::string::npos) return "";
    if (::inet_pton(family, ip.c_str(), address.data()) != 1) return "";
    return ::inet_ntop(family, address.data(), text.data(), text.size());
}

}  // namespace

std::string Peer::text() const {
    return (isIpv6 ? '[' + ip + ']' : ip) + ':' + std::to_string(port);
}

std::optional<Peer> peerOf(const Event& event) {
    const std::string* const ip = event.bytes(RecorderMessageAttribute::ip);
    const auto port = event.number(RecorderMessageAttribute::port);
    if (ip == nullptr || !port || *port < 0 || *port > std::numeric_limits<std::uint16_t>::max()) {
        return std::nullopt;
    }
    Peer peer;
    peer.port = static_cast<std::uint16_t>(*port);
    peer.ip = canonicalAddress(AF_INET, *ip);
    if (peer.ip.empty()) {
        peer.ip = canonicalAddress(AF_INET6, *ip);
        peer.isIpv6 = !peer.ip.empty();
    }
    if (peer.ip.empty()) peer.ip = readable(*ip);
    return peer;
}

}  // namespace veltra
