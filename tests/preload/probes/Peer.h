#pragma once

// The other end of a probe's connections. It calls the kernel directly, so that nothing of it is
// interposed, and keeps its descriptors out of the way of the probe's.

#include <fcntl.h>
#include <sys/syscall.h>

#include "Probe.h"

namespace peer {

inline constexpr int firstDescriptor = 100;

inline int moveAway(long descriptor) {
    const long moved = syscall(SYS_fcntl, descriptor, F_DUPFD, firstDescriptor);
    syscall(SYS_close, descriptor);
    return static_cast<int>(moved);
}

template <typename Address>
int bound(int type, const Address& address) {
    const int socket = moveAway(syscall(SYS_socket, probe::generic(address)->sa_family, type, 0));
    syscall(SYS_bind, socket, &address, sizeof(address));
    return socket;
}

template <typename Address>
int listening(const Address& address) {
    const int socket = bound(SOCK_STREAM, address);
    syscall(SYS_listen, socket, SOMAXCONN);
    return socket;
}

inline int accepted(int listener) {
    return moveAway(syscall(SYS_accept, listener, nullptr, nullptr));
}

// The port of a socket's own address; 0 when it has none.
inline in_port_t portOf(int socket) {
    sockaddr_in6 own{};
    socklen_t length = sizeof(own);
    syscall(SYS_getsockname, socket, &own, &length);
    return ntohs(own.sin6_port);
}

inline void send(int socket, const char* bytes, std::size_t length) {
    syscall(SYS_sendto, socket, bytes, length, 0, nullptr, 0);
}

inline void finish(int socket) {
    syscall(SYS_shutdown, socket, SHUT_WR);
}

// Connects a socket of its own to the address and returns it.
template <typename Address>
int connected(const Address& address) {
    const int socket =
        moveAway(syscall(SYS_socket, probe::generic(address)->sa_family, SOCK_STREAM, 0));
    syscall(SYS_connect, socket, &address, sizeof(address));
    return socket;
}

}  // namespace peer
