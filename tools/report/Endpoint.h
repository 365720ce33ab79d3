#pragma once

#include <netinet/in.h>

#include <cstdint>

#include "recording/ConversationTable.h"

namespace veltra {

// One end of a TCP connection in a capture file.
struct Endpoint {
    bool isIpv6 = false;
    in_addr ipv4{};
    in6_addr ipv6{};
    std::uint16_t port = 0;  // in host byte order
};

struct EndpointPair {
    Endpoint local;
    Endpoint remote;
};

// Where the packets of a conversation come from and go to. A recording tells the peer's address and
// often the local port, but never the local address. What it does not tell is made up, always in
// the same way:
//   local address   127.0.0.1 or ::1 for a peer of this machine, otherwise 192.0.2.1 or 2001:db8::1
//   local port      49152 plus the conversation's number, and from the beginning again after 65535
//   peer            198.51.100.1 port 9
// An IPv4 address in an IPv6 one stands for itself.
EndpointPair endpointsOf(const Conversation& conversation);

}  // namespace veltra
