#pragma once

#include <sys/socket.h>

// The address arguments of a real accept or recvfrom: the caller's own where they are good enough
// to learn the peer's IPv4 address, else ours. The real call may so write up to 16 bytes into a
// caller's area that was declared smaller; that is deliberate.
class PeerAddress {
public:
    // What the caller passed; either may be null.
    PeerAddress(struct sockaddr* address, socklen_t* length);
    PeerAddress(const PeerAddress&) = delete;
    PeerAddress& operator=(const PeerAddress&) = delete;

    // What the real call gets.
    struct sockaddr* area() {
        return area_;
    }
    const struct sockaddr* area() const { return area_; }
    socklen_t* length() { return length_; }

    // After the real call: hands the length it found to a caller whose own was below 16.
    void copyLengthBack() const {
        if (callersLength_ != nullptr) *callersLength_ = ownLength_;
    }

    // The length as it stands; 0 where it cannot be read.
    int currentLength() const;

    // What the area holds, as far as there was room for an address, and zeroes behind it.
    sockaddr_storage contents() const;

private:
    static constexpr socklen_t smallestLength = 16;

    // Large enough for whatever length the caller passes without an address of its own.
    sockaddr_storage ownArea_{};
    socklen_t ownLength_ = smallestLength;
    struct sockaddr* area_;
    socklen_t* length_;
    socklen_t* callersLength_ = nullptr;
    socklen_t room_ = smallestLength;
};
