#pragma once

// The descriptors that random calls are made on, and their other ends, which call the kernel
// directly. Whatever is on its way between two ends has arrived before the next call is made, so
// that two runs find the same.

#include <fcntl.h>
#include <poll.h>
#include <sys/time.h>

#include <array>
#include <string>
#include <vector>

#include "preload/probes/Peer.h"

namespace probe {

enum class Kind { closed, tcp, udp, local, other };

struct Slot {
    int fd = -1;
    Kind kind = Kind::closed;
    int peer = -1;  // of a TCP connection
    bool isListening = false;
};

class Population {
public:
    static constexpr std::size_t size = 12;
    static constexpr int mostUnread = 5000;

    Population()
        : server_(peer::listening(ipv4("127.0.0.1", 0))),
          refusing_(peer::bound(SOCK_STREAM, ipv4("127.0.0.1", 0))),
          sink_(peer::bound(SOCK_DGRAM, ipv4("127.0.0.1", 0))) {}
    Population(const Population&) = delete;
    Population& operator=(const Population&) = delete;

    Slot& slot(std::size_t number) { return slots_[number % size]; }

    // The first from `number` on, round about, that the condition holds for; null when there is
    // none.
    template <typename Condition>
    Slot* next(std::size_t number, Condition condition) {
        for (std::size_t i = 0; i < size; ++i) {
            if (condition(slot(number + i))) return &slot(number + i);
        }
        return nullptr;
    }

    sockaddr_in serverAddress() const { return addressOf(server_); }
    sockaddr_in refusingAddress() const { return addressOf(refusing_); }
    sockaddr_in sinkAddress() const { return addressOf(sink_); }

    // A new inhabitant, in place of what was there, which must be closed.
    void settle(Slot& slot, int fd, Kind kind) {
        slot = {fd, kind, -1, false};
        limitWaits(fd);
    }

    // No call may wait for long.
    static void limitWaits(int fd) {
        const timeval shortest = {0, 1000};
        syscall(SYS_setsockopt, fd, SOL_SOCKET, SO_RCVTIMEO, &shortest, sizeof(shortest));
        syscall(SYS_setsockopt, fd, SOL_SOCKET, SO_SNDTIMEO, &shortest, sizeof(shortest));
    }

    // After a connect to the server that is made or on its way.
    void takePeer(Slot& slot) {
        // One that had a peer is connected anew, or still.
        if (!isReady(server_, POLLIN, slot.peer == -1 ? 100 : 10)) return;
        syscall(SYS_close, slot.peer);
        slot.peer = peer::accepted(server_);
        const int inLine = 1;
        syscall(SYS_setsockopt, slot.peer, SOL_SOCKET, SO_OOBINLINE, &inLine, sizeof(inLine));
        isReady(slot.fd, POLLOUT, 1000);
    }

    void closePeer(Slot& slot) {
        if (slot.peer == -1) return;
        syscall(SYS_close, slot.peer);
        slot.peer = -1;
        isReady(slot.fd, POLLIN | POLLRDHUP, 100);
    }

    // What the slot sent, as its peer gets it.
    std::string takeSent(Slot& slot, std::size_t count) {
        const int end = slot.kind == Kind::udp ? sink_ : slot.peer;
        std::string text;
        std::array<char, 65536> bytes;
        while (end != -1 && (text.size() < count || text.empty())) {
            if (!isReady(end, POLLIN, slot.kind == Kind::udp ? 100 : 1000)) {
                // What was sent goes elsewhere: the socket has been connected anew.
                closePeer(slot);
                break;
            }
            const long got = syscall(SYS_read, end, bytes.data(), bytes.size());
            if (got <= 0) break;
            text.append(bytes.data(), static_cast<std::size_t>(got));
            if (slot.kind == Kind::udp) break;
        }
        return text;
    }

    // The peer sends something.
    void feed(Slot& slot, int count) {
        const int before = unreadOf(slot);
        if (before == -1 || before + count > mostUnread) return;
        const std::string text(static_cast<std::size_t>(count),
                               static_cast<char>('A' + count % 26));
        if (slot.kind == Kind::udp) {
            const sockaddr_in destination = addressOf(slot.fd);
            if (destination.sin_port == 0 || destination.sin_family != AF_INET) return;
            syscall(SYS_sendto, sink_, text.data(), text.size(), MSG_DONTWAIT, &destination,
                    sizeof(destination));
            isReady(slot.fd, POLLIN, 100);
        } else if (slot.peer != -1) {
            peer::send(slot.peer, text.data(), text.size());
            for (int i = 0; i < 100 && unreadOf(slot) < before + count; ++i)
                isReady(-1, 0, 1);
        }
    }

    // Somebody connects to a listening slot.
    void visit(Slot& slot) {
        const sockaddr_in own = addressOf(slot.fd);
        if (!slot.isListening || own.sin_family != AF_INET || own.sin_port == 0) return;
        const int visitor =
            peer::moveAway(syscall(SYS_socket, AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        syscall(SYS_connect, visitor, &own, sizeof(own));
        isReady(slot.fd, POLLIN, 200);
        visitors_.push_back(visitor);
    }

private:
    static sockaddr_in addressOf(int fd) {
        sockaddr_in address{};
        socklen_t length = sizeof(address);
        syscall(SYS_getsockname, fd, &address, &length);
        return address;
    }

    static bool isReady(int fd, short events, int milliseconds) {
        pollfd waiting{fd, events, 0};
        return syscall(SYS_poll, &waiting, 1, milliseconds) == 1;
    }

    // The bytes that wait to be read; of datagrams, those of the first. -1 for what is no stream.
    static int unreadOf(const Slot& slot) {
        constexpr unsigned long bytesToRead = 0x541B;
        int count = 0;
        return syscall(SYS_ioctl, slot.fd, bytesToRead, &count) == 0 ? count : -1;
    }

    std::array<Slot, size> slots_;
    std::vector<int> visitors_;
    const int server_;
    const int refusing_;
    const int sink_;
};

}  // namespace probe
