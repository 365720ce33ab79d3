#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "recording/Event.h"

namespace veltra {

// The other end of a connection.
struct Peer {
    std::string ip;  // in the usual short form; as recorded, made readable, if it is no address
    std::uint16_t port = 0;
    bool isIpv6 = false;

    bool operator==(const Peer&) const = default;

    // "127.0.0.1:80" or "[::1]:80".
    std::string text() const;
};

// The address that the event tells, if it tells one.
std::optional<Peer> peerOf(const Event& event);

}  // namespace veltra
