#include "support/SocksServer.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace veltra::testing {

namespace {

const sockaddr* generic(const sockaddr_in6& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

// A socket on a free port of the family's loopback address. Fills in the port.
int bindOnLoopback(int family, std::uint16_t& port) {
    sockaddr_in6 address{};  // its port stands where that of an IPv4 address does
    socklen_t length = sizeof(sockaddr_in6);
    if (family == AF_INET6) {
        address.sin6_family = AF_INET6;
        address.sin6_addr = in6addr_loopback;
    } else {
        auto& ipv4 = reinterpret_cast<sockaddr_in&>(address);
        ipv4.sin_family = AF_INET;
        ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        length = sizeof(sockaddr_in);
    }
    const int bound = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::bind(bound, generic(address), length) != 0 ||
        ::getsockname(bound, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "loopback port");
    }
    port = ntohs(address.sin6_port);
    return bound;
}

// Without closing the descriptor, which other threads may be about to use.
void resetConnection(int client) {
    sockaddr_in6 nowhere{};
    nowhere.sin6_family = AF_UNSPEC;
    ::connect(client, generic(nowhere), sizeof(nowhere));
}

}  // namespace

RefusingPort::RefusingPort() : holder_(bindOnLoopback(AF_INET, number_)) {}

RefusingPort::~RefusingPort() {
    ::close(holder_);
}

SocksServer::SocksServer(std::vector<SocksTurn> turns, SocksEnding ending, int family)
    : listener_(bindOnLoopback(family, port_)) {
    ::listen(listener_, 1);
    thread_ = std::thread([this, turns = std::move(turns), ending] { serve(turns, ending); });
}

SocksServer::~SocksServer() {
    stopping_.store(true);
    ::shutdown(listener_, SHUT_RDWR);
    if (hasClient()) ::shutdown(client_.load(), SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    if (hasClient()) ::close(client_.load());
    ::close(listener_);
}

std::string SocksServer::received() {
    if (thread_.joinable()) thread_.join();
    return received_;
}

void SocksServer::serve(const std::vector<SocksTurn>& turns, SocksEnding ending) {
    client_.store(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
    if (!hasClient() || stopping_.load()) return;
    for (const SocksTurn& turn : turns) {
        if (!receive(turn.awaited)) return;
        ::send(client_.load(), turn.answer.data(), turn.answer.size(), MSG_NOSIGNAL);
    }
    if (ending == SocksEnding::reset) return resetConnection(client_.load());
    if (ending == SocksEnding::finish) ::shutdown(client_.load(), SHUT_WR);
    while (receive(1)) {
    }
}

// False when the client closes before.
bool SocksServer::receive(std::size_t count) {
    for (; count > 0; --count) {
        char byte = 0;
        if (::recv(client_.load(), &byte, 1, 0) != 1) return false;
        received_ += byte;
    }
    return true;
}

}  // namespace veltra::testing
