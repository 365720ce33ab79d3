#include "FaultyRecorder.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "recorder/SystemCall.h"

namespace veltra::testing {

namespace {

constexpr int attentionMilliseconds = 10;
constexpr int connectionTakesMilliseconds = 100;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

sockaddr* generic(sockaddr_in& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

FileDescriptor openSocket(int flags) {
    return FileDescriptor(
        checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0), "socket"));
}

void resetAtClose(const FileDescriptor& connection) {
    const linger atOnce = {1, 0};
    ::setsockopt(connection.number(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
}

}  // namespace

FaultyRecorder::FaultyRecorder(RecorderFault fault) : fault_(fault), listener_(openSocket(0)) {
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof(address);
    checked(::bind(listener_.number(), generic(address), length), "bind");
    const int capacity = fault_ == RecorderFault::queueIsFull ? 0 : SOMAXCONN;
    checked(::listen(listener_.number(), capacity), "listen");
    checked(::getsockname(listener_.number(), generic(address), &length), "getsockname");
    port_ = ntohs(address.sin_port);
    if (fault_ == RecorderFault::queueIsFull) {
        fillQueue();
    } else {
        thread_ = std::thread([this] { serve(); });
    }
}

FaultyRecorder::~FaultyRecorder() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
}

// Connects until a connection is not made any more.
void FaultyRecorder::fillQueue() {
    for (;;) {
        sockaddr_in address = loopback(port_);
        FileDescriptor connection = openSocket(SOCK_NONBLOCK);
        ::connect(connection.number(), generic(address), sizeof(address));
        pollfd made{connection.number(), POLLOUT, 0};
        const bool isFull = ::poll(&made, 1, connectionTakesMilliseconds) == 0;
        kept_.push_back(std::move(connection));
        if (isFull) return;
    }
}

// The next connection; none when the object goes.
FileDescriptor FaultyRecorder::accept() {
    pollfd waiting{listener_.number(), POLLIN, 0};
    while (!stopping_) {
        if (::poll(&waiting, 1, attentionMilliseconds) == 1) {
            return FileDescriptor(::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC));
        }
    }
    return {};
}

// False at the end of what comes.
bool FaultyRecorder::readPiece(const FileDescriptor& connection) {
    std::array<char, 1024> piece;
    pollfd waiting{connection.number(), POLLIN, 0};
    while (!stopping_) {
        if (::poll(&waiting, 1, attentionMilliseconds) == 1)
            return ::read(connection.number(), piece.data(), piece.size()) > 0;
    }
    return false;
}

void FaultyRecorder::readToEnd(const FileDescriptor& connection) {
    while (readPiece(connection)) {
    }
}

void FaultyRecorder::serve() {
    for (int count = 1;; ++count) {
        FileDescriptor connection = accept();
        if (!connection.isOpen()) return;
        switch (fault_) {
            case RecorderFault::neverReads:
            case RecorderFault::queueIsFull:
                kept_.push_back(std::move(connection));
                break;
            case RecorderFault::resets:
                resetAtClose(connection);
                break;
            case RecorderFault::dies:
                if (count < 3) {
                    readToEnd(connection);
                    break;
                }
                readPiece(connection);
                listener_.close();
                return;
        }
    }
}

}  // namespace veltra::testing
