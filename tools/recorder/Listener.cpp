#include "recorder/Listener.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "recorder/SystemCall.h"

namespace veltra {

namespace {

void bindToLoopback(int descriptor) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    checked(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address),
            "cannot bind the recorder to 127.0.0.1");
}

std::uint16_t boundPort(int descriptor) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    checked(::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length),
            "cannot learn the recorder's port");
    return ntohs(address.sin_port);
}

}  // namespace

Listener::Listener()
    : socket_(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP),
                      "cannot create the recorder's socket")) {
    bindToLoopback(socket_.number());
    checked(::listen(socket_.number(), queueCapacity), "cannot listen for messages");
    port_ = boundPort(socket_.number());
}

Listener::Result Listener::accept() {
    for (;;) {
        const int number =
            ::accept4(socket_.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (number >= 0) return {Outcome::accepted, FileDescriptor(number)};
        switch (errno) {
            case EAGAIN:
                return {Outcome::queueEmpty, {}};
            case EINTR:
            case ECONNABORTED:
            case EPROTO:
                // Concerns this one connection only: the next may be sound.
                break;
            default:
                return {Outcome::tryLater, {}};
        }
    }
}

}  // namespace veltra
