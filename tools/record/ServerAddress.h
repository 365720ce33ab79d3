#pragma once

#include <cstdint>
#include <string>

namespace veltra {

// An address and port that can be connected to.
struct ServerAddress {
    std::string address;  // in numbers, as inet_pton takes it
    std::uint16_t port;
};

// Reads HOST:PORT, with an IPv6 address in square brackets, and looks HOST up among the addresses
// of `family` (AF_INET or AF_INET6). Throws Failure when it makes no sense or is not found.
ServerAddress findServer(const std::string& hostAndPort, int family);

}  // namespace veltra
