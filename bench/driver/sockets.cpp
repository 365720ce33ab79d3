#include "sockets.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace veltra::bench {

namespace {

const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

void closeUnseen(int descriptor) {
    syscall(SYS_close, descriptor);
}

}  // namespace

long checked(long result, const char* call) {
    if (result != -1) return result;
    std::fprintf(stderr, "veltra_bench_driver: %s: %s\n", call, std::strerror(errno));
    _exit(1);
}

sockaddr_in addressFrom(const std::string& text) {
    const std::size_t colon = text.find(':');
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, text.substr(0, colon).c_str(), &address.sin_addr);
    address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(text.c_str() + colon + 1)));
    return address;
}

int connectedSocket(const sockaddr_in& address) {
    const int descriptor = static_cast<int>(checked(socket(AF_INET, SOCK_STREAM, 0), "socket"));
    checked(connect(descriptor, generic(address), sizeof(address)), "connect");
    return descriptor;
}

void sendOneMessage(const sockaddr_in& recorder, const char* bytes, std::size_t length,
                    bool linger) {
    constexpr int atOnce = -1;
    const int connection = connectedSocket(recorder);
    checked(send(connection, bytes, length, MSG_NOSIGNAL), "send");
    if (linger) setsockopt(connection, IPPROTO_TCP, TCP_LINGER2, &atOnce, sizeof(atOnce));
    close(connection);
}

OwnConnection::OwnConnection() {
    const auto listener =
        static_cast<int>(checked(syscall(SYS_socket, AF_INET, SOCK_STREAM, 0), "socket"));
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    checked(syscall(SYS_bind, listener, &address, length), "bind");
    checked(syscall(SYS_listen, listener, 1), "listen");
    checked(syscall(SYS_getsockname, listener, &address, &length), "getsockname");
    near_ = connectedSocket(address);
    far_ =
        static_cast<int>(checked(syscall(SYS_accept4, listener, nullptr, nullptr, 0), "accept4"));
    closeUnseen(listener);
    constexpr int yes = 1;
    for (const int end : {near_, far_})
        syscall(SYS_setsockopt, end, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
}

OwnConnection::~OwnConnection() {
    // The far end first: it then keeps no port.
    closeUnseen(far_);
    close(near_);
}

void OwnConnection::answerFromFarEnd(const char* bytes, std::size_t length) const {
    char request = '?';
    checked(syscall(SYS_sendto, near_, &request, 1, 0, nullptr, 0), "sendto");
    checked(syscall(SYS_recvfrom, far_, &request, 1, 0, nullptr, nullptr), "recvfrom");
    checked(syscall(SYS_sendto, far_, bytes, length, 0, nullptr, 0), "sendto");
}

void OwnConnection::drainFarEnd(std::size_t length) const {
    static std::vector<char> buffer(1024 * 1024);
    while (length > 0) {
        const std::size_t part = std::min(length, buffer.size());
        length -= static_cast<std::size_t>(checked(
            syscall(SYS_recvfrom, far_, buffer.data(), part, 0, nullptr, nullptr), "recvfrom"));
    }
}

}  // namespace veltra::bench
