#include "Sink.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace veltra::bench {

namespace {

constexpr std::size_t bufferSize = 1024 * 1024;

int checked(int result, const char* call) {
    if (result == -1) throw std::system_error(errno, std::generic_category(), call);
    return result;
}

void workFor(std::int64_t nanoseconds) {
    const auto now = [] {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 1'000'000'000 + time.tv_nsec;
    };
    const std::int64_t end = now() + nanoseconds;
    while (now() < end) {
    }
}

// The answer that a SOCKS 5 server gives with so many turns left: to the greeting with two, to the
// request with one. Both arrive in one piece on the loopback interface.
std::string_view socksAnswer(int answersLeft) {
    constexpr std::string_view method("\5\0", 2);
    constexpr std::string_view success("\5\0\0\1\0\0\0\0\0\0", 10);
    return answersLeft == 2 ? method : success;
}

}  // namespace

Sink::Sink(SinkPace pace)
    : pace_(pace),
      epoll_(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      buffer_(bufferSize) {}

Sink::~Sink() {
    for (std::size_t descriptor = 0; descriptor < connections_.size(); ++descriptor) {
        if (connections_[descriptor].port != -1) close(static_cast<int>(descriptor));
    }
    for (const Port& port : ports_)
        close(port.listener);
    close(epoll_);
}

std::uint16_t Sink::open(PortKind kind) {
    const int listener =
        checked(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    checked(bind(listener, generic, length), "bind");
    checked(listen(listener, pace_.backlog), "listen");
    checked(getsockname(listener, generic, &length), "getsockname");
    // Listeners are told from connections by their negative numbers.
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = -1 - static_cast<int>(ports_.size());
    checked(epoll_ctl(epoll_, EPOLL_CTL_ADD, listener, &event), "epoll_ctl");
    ports_.push_back({ntohs(address.sin_port), kind, listener, {}});
    return ports_.back().number;
}

void Sink::serve(int control, const std::function<bool(char)>& onByte) {
    epoll_event wanted{};
    wanted.events = EPOLLIN;
    wanted.data.fd = control;
    checked(epoll_ctl(epoll_, EPOLL_CTL_ADD, control, &wanted), "epoll_ctl");
    std::array<epoll_event, 64> events;
    for (;;) {
        const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), -1);
        for (int i = 0; i < count; ++i) {
            const int descriptor = events[static_cast<std::size_t>(i)].data.fd;
            if (descriptor < 0) {
                acceptAll(-1 - descriptor);
            } else if (descriptor != control) {
                readFrom(descriptor);
            } else {
                char byte = 0;
                if (read(control, &byte, 1) != 1 || !onByte(byte)) return;
            }
        }
    }
}

Sink::Count Sink::take(std::uint16_t number) {
    for (Port& port : ports_) {
        if (port.number != number) continue;
        // Connections that wait still count for what was asked.
        const Count count = port.count;
        port.count = {};
        return count;
    }
    return {};
}

void Sink::acceptAll(int index) {
    const Port& port = ports_[static_cast<std::size_t>(index)];
    for (;;) {
        const int descriptor =
            accept4(port.listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor == -1) return;
        if (connections_.size() <= static_cast<std::size_t>(descriptor))
            connections_.resize(static_cast<std::size_t>(descriptor) + 1);
        connections_[static_cast<std::size_t>(descriptor)] = {index,
                                                              port.kind == PortKind::socks ? 2 : 0};
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = descriptor;
        checked(epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event), "epoll_ctl");
        if (pace_.workNanoseconds > 0) workFor(pace_.workNanoseconds);
        readFrom(descriptor);
    }
}

void Sink::readFrom(int descriptor) {
    Connection& connection = connections_[static_cast<std::size_t>(descriptor)];
    for (;;) {
        const ssize_t count = read(descriptor, buffer_.data(), buffer_.size());
        if (count == -1 && errno == EAGAIN) return;
        if (count <= 0) return finish(descriptor, count < 0);
        ports_[static_cast<std::size_t>(connection.port)].count.bytes +=
            static_cast<std::uint64_t>(count);
        if (connection.answers > 0) {
            const std::string_view answer = socksAnswer(connection.answers--);
            if (send(descriptor, answer.data(), answer.size(), MSG_NOSIGNAL) == -1)
                return finish(descriptor, true);
        }
    }
}

void Sink::finish(int descriptor, bool isError) {
    Connection& connection = connections_[static_cast<std::size_t>(descriptor)];
    Count& count = ports_[static_cast<std::size_t>(connection.port)].count;
    ++count.connections;
    if (isError) ++count.errors;
    connection.port = -1;
    close(descriptor);
}

}  // namespace veltra::bench
