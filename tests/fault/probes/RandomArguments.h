#pragma once

// Arguments as no program should give them, and some as it should.

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/un.h>

#include <initializer_list>
#include <iterator>
#include <random>

#include "Arena.h"
#include "Population.h"

namespace probe {

// A buffer and its length; `isWhole` where all of it can be read and written.
struct Buffer {
    char* bytes;
    std::size_t length;
    bool isWhole;
};

class RandomArguments {
public:
    RandomArguments(std::uint64_t seed, const Arena& arena, Population& population)
        : random_(seed), arena_(arena), population_(population) {}

    std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }
    bool oneIn(std::size_t count) { return below(count) == 0; }

    template <typename Value>
    Value oneOf(std::initializer_list<Value> values) {
        return *std::next(values.begin(), static_cast<std::ptrdiff_t>(below(values.size())));
    }

    // Mostly a slot; else none, for a number that nobody has.
    Slot* slot() { return oneIn(12) ? nullptr : &population_.slot(below(Population::size)); }
    int numberOf(const Slot* slot) {
        return slot != nullptr ? slot->fd : oneOf({-1, -77, 700, 999'999, INT32_MAX, INT32_MIN});
    }

    // `toWrite`: the real call stores there. A stream of the network takes as much of a buffer that
    // breaks off as its packets have come to hold, which differs from run to run.
    Buffer buffer(const Slot* slot, bool toWrite) {
        constexpr std::size_t room = Arena::setsPlace;
        const bool isTcp = slot != nullptr && slot->kind == Kind::tcp;
        const std::size_t length = oneOf<std::size_t>({0, 1, 2, 10, 100, 1000, 4000});
        switch (below(isTcp ? 7 : 8)) {
            case 0:
                return {nullptr, absurdLength(length), false};
            case 1:
                return {arena_.unreadable(), absurdLength(length), false};
            case 2:
                return {arena_.readOnly(), length, !toWrite};
            case 7:
                return {arena_.unreadable() - 50, absurdLength(length + 51), false};
            default:
                return {arena_.writable() + below(room - 4000), length, true};
        }
    }

    std::size_t absurdLength(std::size_t length) {
        return oneIn(3) ? oneOf<std::size_t>({0x7FFFFFFF, 0x80000000, 0x100000000, SIZE_MAX / 2,
                                              SIZE_MAX / 2 + 1, SIZE_MAX - 4095, SIZE_MAX})
                        : length;
    }

    // Without what lets data wait for more, or connects.
    int flags() {
        constexpr int deferring = MSG_MORE | MSG_FASTOPEN | 0x20000 | 0x8000000;
        const int chosen =
            oneOf<int>({0, 0, 0, 0, MSG_DONTWAIT, MSG_NOSIGNAL, MSG_PEEK, MSG_WAITALL, MSG_TRUNC,
                        MSG_OOB, MSG_ERRQUEUE, MSG_DONTROUTE, MSG_EOR, MSG_PEEK | MSG_TRUNC,
                        INT32_MAX, -1, static_cast<int>(random_())});
        return chosen & ~deferring;
    }

    // Somewhere to go for this kind of socket, or nowhere; `length` as it should be.
    const sockaddr* destination(const Slot* slot, socklen_t& length) {
        auto* const address = arena_.at<sockaddr_in>(Arena::namePlace);
        const Kind kind = slot != nullptr ? slot->kind : Kind::closed;
        length = sizeof(sockaddr_in);
        std::memset(address, 0, 128);
        switch (below(10)) {
            case 0:
                return nullptr;
            case 1:
                return generic(*reinterpret_cast<const sockaddr_in*>(arena_.unreadable()));
            case 2:
                return generic(*reinterpret_cast<const sockaddr_in*>(arena_.unreadable() - 3));
            case 3:
                address->sin_family = AF_UNSPEC;
                break;
            case 4:
                address->sin_family = 99;
                break;
            case 5:
                *arena_.at<sockaddr_un>(Arena::namePlace) = local("nobody listens here");
                length = sizeof(sockaddr_un);
                break;
            default:
                *address = kind == Kind::udp ? population_.sinkAddress()
                           : oneIn(4)        ? population_.refusingAddress()
                                             : population_.serverAddress();
        }
        if (oneIn(8)) length = oneOf<socklen_t>({0, 1, 2, 3, 8, 15, 128, 129, 4096, UINT32_MAX});
        return generic(*address);
    }

    // Where a call stores an address: its place, or a bad one; the same for the length.
    sockaddr* nameArea() {
        std::memset(arena_.writable() + Arena::namePlace, 'n', 128);
        return reinterpret_cast<sockaddr*>(
            oneOf({arena_.writable() + Arena::namePlace, arena_.writable() + Arena::namePlace,
                   arena_.writable() + Arena::namePlace, static_cast<char*>(nullptr),
                   arena_.readOnly(), arena_.unreadable()}));
    }
    socklen_t* length(socklen_t value) {
        *arena_.at<socklen_t>(Arena::lengthPlace) = value;
        return reinterpret_cast<socklen_t*>(
            oneOf({arena_.writable() + Arena::lengthPlace, arena_.writable() + Arena::lengthPlace,
                   arena_.writable() + Arena::lengthPlace, arena_.writable() + Arena::lengthPlace,
                   static_cast<char*>(nullptr), arena_.readOnly(), arena_.readOnlyLength(below(6)),
                   arena_.unreadable()}));
    }
    socklen_t someLength() {
        return oneOf<socklen_t>({16, 16, 16, 28, 128, 0, 1, 4, 15, 17, 4096, UINT32_MAX});
    }

    // A header whose parts may be bad, or a bad one.
    msghdr* header(const Slot* slot, bool toWrite) {
        auto* const header = arena_.at<msghdr>(Arena::headerPlace);
        auto* const pieces = arena_.at<iovec>(Arena::piecesPlace);
        *header = {};
        header->msg_iov = oneIn(12) ? reinterpret_cast<iovec*>(arena_.unreadable()) : pieces;
        header->msg_iovlen = oneOf<std::size_t>({0, 1, 1, 1, 2, 3, 4});
        if (oneIn(12)) header->msg_iovlen = oneOf<std::size_t>({1025, SIZE_MAX, INT32_MAX});
        bool isWhole = true;
        for (int i = 0; i < 4; ++i) {
            const Buffer piece = buffer(slot, toWrite);
            isWhole = isWhole && piece.isWhole;
            pieces[i] = {piece.bytes, piece.length};
        }
        // What breaks off in its middle: see buffer().
        if (!isWhole && slot != nullptr && slot->kind == Kind::tcp)
            header->msg_iovlen = std::min<std::size_t>(header->msg_iovlen, 1);
        if (toWrite && oneIn(2)) {
            header->msg_name = nameArea();
            header->msg_namelen = 128;
        }
        return oneIn(15) ? reinterpret_cast<msghdr*>(
                               oneOf({static_cast<char*>(nullptr), arena_.unreadable()}))
                         : header;
    }

    // A set with some of the slots in it, or a bad one, or none.
    fd_set* descriptors(int which) {
        auto* const set = arena_.at<fd_set>(Arena::setsPlace) + which;
        FD_ZERO(set);
        for (std::size_t i = 0; i < Population::size; ++i) {
            const int fd = population_.slot(i).fd;
            if (fd >= 0 && oneIn(3)) FD_SET(fd, set);
        }
        const std::size_t choice = below(10);
        if (choice < 5) return nullptr;
        if (choice == 5) return reinterpret_cast<fd_set*>(arena_.unreadable());
        return set;
    }

private:
    std::mt19937_64 random_;
    const Arena& arena_;
    Population& population_;
};

}  // namespace probe
