#include "record/ServerAddress.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <charconv>
#include <memory>
#include <string_view>

#include "record/Failure.h"

namespace veltra {

namespace {

[[noreturn]] void failToParse(const std::string& hostAndPort) {
    throw Failure(exitStatusFailure,
                  "'" + hostAndPort + "' is not of the form HOST:PORT (or [IPV6-ADDRESS]:PORT)");
}

// The port, or 0 when the text is none.
std::uint16_t portOf(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.begin(), text.end(), port);
    return error == std::errc{} && end == text.end() ? port : std::uint16_t{0};
}

std::string hostOf(std::string_view text) {
    const bool isBracketed = text.starts_with('[') && text.ends_with(']');
    if (isBracketed) return std::string(text.substr(1, text.size() - 2));
    // More colons belong to an IPv6 address of which nobody can say where it ends.
    return text.find(':') == std::string_view::npos ? std::string(text) : "";
}

std::string numbersOf(const sockaddr& address) {
    const void* const bytes =
        address.sa_family == AF_INET
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr)
            : &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(address.sa_family, bytes, text.data(), text.size());
    return text.data();
}

std::string lookUp(const std::string& host, int family) {
    addrinfo wanted{};
    wanted.ai_family = family;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &found);
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    if (error == 0) return numbersOf(*found->ai_addr);
    throw Failure(exitStatusFailure, std::string("cannot find an ") +
                                         (family == AF_INET ? "IPv4" : "IPv6") + " address of " +
                                         host + ": " + ::gai_strerror(error));
}

}  // namespace

ServerAddress findServer(const std::string& hostAndPort, int family) {
    const auto colon = hostAndPort.rfind(':');
    if (colon == std::string::npos) failToParse(hostAndPort);
    const std::string host = hostOf(std::string_view(hostAndPort).substr(0, colon));
    const std::uint16_t port = portOf(std::string_view(hostAndPort).substr(colon + 1));
    if (host.empty() || port == 0) failToParse(hostAndPort);
    return {lookUp(host, family), port};
}

}  // namespace veltra
