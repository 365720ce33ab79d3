#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace veltra::testing {

// A listener on a loopback port of its own, and the one connection that it accepts.
class ListeningServer {
public:
    explicit ListeningServer(int backlog = 1) : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        const sockaddr_in wanted = loopback(0);
        bind(listener_, reinterpret_cast<const sockaddr*>(&wanted), sizeof(wanted));
        listen(listener_, backlog);
        sockaddr_in own{};
        socklen_t length = sizeof(own);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&own), &length);
        port_ = ntohs(own.sin_port);
    }
    ~ListeningServer() {
        if (connection_ != -1) close(connection_);
        close(listener_);
    }
    ListeningServer(const ListeningServer&) = delete;
    ListeningServer& operator=(const ListeningServer&) = delete;

    static sockaddr_in loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    std::uint16_t port() const { return port_; }

    void accept() { connection_ = ::accept(listener_, nullptr, nullptr); }

    // What has arrived by now: on the loopback interface all that was sent.
    std::string take() { return receive(MSG_DONTWAIT); }

    // All that arrives until the other end closes the connection.
    std::string takeToEnd() {
        std::string text;
        for (std::string part = receive(0); !part.empty(); part = receive(0))
            text += part;
        return text;
    }

    // Resets the connection, so that whatever is sent next breaks.
    void goAway() {
        const linger atOnce = {1, 0};
        setsockopt(connection_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
        close(connection_);
        connection_ = -1;
    }

private:
    std::string receive(int flags) {
        std::string text(100000, '\0');
        const ssize_t count = recv(connection_, text.data(), text.size(), flags);
        text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return text;
    }

    int listener_;
    std::uint16_t port_ = 0;
    int connection_ = -1;
};

}  // namespace veltra::testing
