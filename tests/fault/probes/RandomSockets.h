#pragma once

// The random calls that make, name, connect and end sockets, and what all of the random calls
// share.

#include <cstdio>
#include <string>

#include "RandomArguments.h"

namespace probe {

class RandomSockets {
public:
    RandomSockets(const RandomSockets&) = delete;
    RandomSockets& operator=(const RandomSockets&) = delete;

protected:
    explicit RandomSockets(std::uint64_t seed) : arguments_(seed, arena_, population_) {}

    template <typename RealCall>
    long report(const char* name, const Slot* slot, RealCall&& call, bool isMemoryCompared = true) {
        const long place = slot == nullptr ? -1 : slot - &population_.slot(0);
        errno = probe::untouched;
        const auto result = static_cast<long>(call());
        lastError_ = errno;
        std::printf("%s on %ld: %ld errno %d", name, place, result, lastError_);
        if (isMemoryCompared)
            std::printf(" memory %llx", static_cast<unsigned long long>(arena_.fingerprint()));
        return result;
    }

    void reportSent(Slot* slot, long result) {
        if (slot != nullptr && result >= 0 && (result > 0 || slot->kind == Kind::udp)) {
            const std::string sent = population_.takeSent(*slot, static_cast<std::size_t>(result));
            std::printf(" sent %llx", static_cast<unsigned long long>(
                                          Arena::fingerprintOf(sent.data(), sent.size())));
        }
        std::printf("\n");
    }

    void closeSlot(Slot& slot) {
        if (slot.kind == Kind::closed) return;
        std::printf("close: %d ", close(slot.fd));
        population_.closePeer(slot);
        slot = {};
    }

    void inhabit(int fd, Kind kind) {
        if (fd < 0) return;
        Slot& slot = population_.slot(arguments_.below(probe::Population::size));
        closeSlot(slot);
        population_.settle(slot, fd, kind);
    }

    // No raw sockets: what comes there is not ours.
    void open() {
        const int domain =
            arguments_.oneOf<int>({AF_INET, AF_INET, AF_INET6, AF_UNIX, -1, 99, INT32_MAX});
        const int type = arguments_.oneOf<int>({SOCK_STREAM, SOCK_DGRAM, 0, 9, -1, INT32_MAX}) |
                         arguments_.oneOf<int>({0, SOCK_NONBLOCK, SOCK_CLOEXEC, 1 << 20});
        const int protocol = arguments_.oneOf<int>({0, 0, 0, IPPROTO_TCP, IPPROTO_UDP, 255, -1});
        const long fd = report("socket", nullptr, [=] { return socket(domain, type, protocol); });
        const bool isInternet = domain == AF_INET || domain == AF_INET6;
        const int plainType = type & 0xF;
        inhabit(static_cast<int>(fd), !isInternet                ? Kind::local
                                      : plainType == SOCK_STREAM ? Kind::tcp
                                                                 : Kind::udp);
        std::printf("\n");
    }

    int streamType() { return SOCK_STREAM | (arguments_.oneIn(4) ? 0 : SOCK_NONBLOCK); }

    Slot* inhabit(const char* name, int type, Kind kind) {
        Slot& slot = population_.slot(arguments_.below(probe::Population::size));
        closeSlot(slot);
        const long fd = report(name, &slot, [=] { return socket(AF_INET, type, 0); });
        population_.settle(slot, static_cast<int>(fd), kind);
        return &slot;
    }

    void openTcp() {
        inhabit("socket", streamType(), Kind::tcp);
        std::printf("\n");
    }

    void openClient() {
        Slot* const slot = inhabit("client", streamType(), Kind::tcp);
        const sockaddr_in address = population_.serverAddress();
        report("connect", slot,
               [&] { return connect(slot->fd, probe::generic(address), sizeof(address)); });
        population_.takePeer(*slot);
        std::printf("\n");
    }

    void bindToAnyPort(const Slot* slot) {
        const sockaddr_in any = probe::ipv4("127.0.0.1", 0);
        report("bind", slot, [&] { return bind(slot->fd, probe::generic(any), sizeof(any)); });
    }

    void openServer() {
        Slot* const slot = inhabit("server", streamType(), Kind::tcp);
        bindToAnyPort(slot);
        report("listen", slot, [=] { return listen(slot->fd, 100); });
        slot->isListening = true;
        std::printf("\n");
    }

    void openDatagram() {
        Slot* const slot = inhabit("datagram", SOCK_DGRAM | SOCK_NONBLOCK, Kind::udp);
        bindToAnyPort(slot);
        std::printf("\n");
    }

    // What the agent does not know.
    void openOther() {
        int ends[2] = {-1, -1};
        switch (arguments_.below(4)) {
            case 0:
                if (pipe2(ends, O_NONBLOCK) != 0) return;
                break;
            case 1:
                if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) return;
                break;
            case 2:
                if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends) != 0) return;
                break;
            default:
                ends[0] = ::open("/dev/zero", O_RDWR);
                ends[1] = ::open("random.txt", O_RDWR | O_CREAT | O_TRUNC, 0600);
        }
        inhabit(ends[0], Kind::other);
        inhabit(ends[1], Kind::other);
        std::printf("others\n");
    }

    void bindIt() {
        Slot* const slot = arguments_.slot();
        socklen_t length = 0;
        const sockaddr* address = arguments_.destination(slot, length);
        if (arguments_.oneIn(2)) {
            *arena_.at<sockaddr_in>(Arena::namePlace) = probe::ipv4("127.0.0.1", 0);
            address = arena_.at<sockaddr>(Arena::namePlace);
            length = sizeof(sockaddr_in);
        }
        const int fd = arguments_.numberOf(slot);
        report("bind", slot, [=] { return bind(fd, address, length); });
        std::printf("\n");
    }

    void listenOn() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const int backlog = arguments_.oneOf<int>({8, 100, INT32_MAX, -1});
        const long result = report("listen", slot, [=] { return listen(fd, backlog); });
        if (slot != nullptr && result == 0 && slot->kind == Kind::tcp) slot->isListening = true;
        std::printf("\n");
    }

    // Where less than a whole address is asked for, the agent asks for more, unless it could not
    // tell the caller how long the address is.
    bool isComparable(const sockaddr* area, const socklen_t* length, socklen_t value) const {
        const bool canBeWritten = length == arena_.at<socklen_t>(Arena::lengthPlace);
        return area != nullptr && length != nullptr && (value >= 16 || !canBeWritten);
    }

    // Where a call puts its peer's address, and whether the bare run finds the same there.
    struct PeerArea {
        sockaddr* address;
        socklen_t* length;
        bool isCompared;
    };

    PeerArea peerArea() {
        sockaddr* const address = arguments_.nameArea();
        const socklen_t value = arguments_.someLength();
        socklen_t* const length = arguments_.length(value);
        if (address == nullptr) return {nullptr, nullptr, true};
        if (isComparable(address, length, value)) return {address, length, true};
        return {arena_.at<sockaddr>(Arena::namePlace), arena_.at<socklen_t>(Arena::lengthPlace),
                false};
    }

    void acceptOn() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const PeerArea peer = peerArea();
        const long accepted = report(
            "accept", slot, [=] { return accept(fd, peer.address, peer.length); }, peer.isCompared);
        if (accepted >= 0) inhabit(static_cast<int>(accepted), Kind::other);
        std::printf("\n");
    }

    void closeIt() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        report("close", slot, [=] { return close(fd); });
        if (slot != nullptr) {
            population_.closePeer(*slot);
            *slot = {};
        }
        std::printf("\n");
    }

    void connectIt() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        socklen_t length = 0;
        const sockaddr* const address = arguments_.destination(slot, length);
        const bool isServer = slot != nullptr && slot->kind == Kind::tcp && length >= 16 &&
                              isAt(address, population_.serverAddress());
        const long result = report("connect", slot, [=] { return connect(fd, address, length); });
        if (isServer && (result == 0 || lastError_ == EINPROGRESS)) population_.takePeer(*slot);
        std::printf("\n");
    }

    bool isAt(const sockaddr* address, const sockaddr_in& wanted) const {
        return address == arena_.at<sockaddr>(Arena::namePlace) &&
               std::memcmp(address, &wanted, sizeof(wanted)) == 0;
    }

    Arena arena_;
    probe::Population population_;
    probe::RandomArguments arguments_;
    int lastError_ = 0;
};

}  // namespace probe
