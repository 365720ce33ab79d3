#include "Sender.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include "recorder/SystemCall.h"

namespace veltra::testing {

Sender::Sender() : socket_(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {}

Sender::Sender(std::uint16_t port) : Sender() {
    connect(port);
}

void Sender::connect(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    checked(
        ::connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
        "connect");
}

void Sender::send(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL);
        checked(count < 0 ? -1 : 0, "send");
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Sender::endMessage() {
    checked(::shutdown(socket_.number(), SHUT_WR), "shutdown");
}

void Sender::reset() {
    const linger resetOnClose{1, 0};
    checked(
        ::setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &resetOnClose, sizeof resetOnClose),
        "setsockopt");
    socket_.close();
}

void sendMessage(std::uint16_t port, std::string_view text) {
    Sender(port).send(text);
}

}  // namespace veltra::testing
