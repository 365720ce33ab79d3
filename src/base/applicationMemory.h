#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>

// Reading memory that the application named, when nothing has proved yet that it can be read: the
// kernel answers a bad pointer with an error code, and so must we. None of these changes errno.

// How many of the `length` bytes from `start` on can be read, without a gap. 0 for a null pointer.
std::size_t readableLength(const void* start, std::size_t length);

// True when all `size` bytes from `start` on can be written. They stay as they are.
bool isWritable(void* start, std::size_t size);

// The length of the text, up to its first zero byte or to where memory can no longer be read.
// 0 for a null pointer.
std::size_t readableTextLength(const char* text);

// A copy of a socket address, as far as the application's own length allows: what lies behind is
// zero. It has no address (and family 0) when the pointer is null or cannot be read.
class AddressCopy {
public:
    AddressCopy(const struct sockaddr* address, std::size_t length);

    // The copy, large enough for every family, or null when there is no address.
    const struct sockaddr* get() const {
        return present_ ? reinterpret_cast<const struct sockaddr*>(&storage_) : nullptr;
    }
    int family() const { return storage_.ss_family; }
    // The copy as what its family says it is.
    const sockaddr_in& ipv4() const { return reinterpret_cast<const sockaddr_in&>(storage_); }
    const sockaddr_in6& ipv6() const { return reinterpret_cast<const sockaddr_in6&>(storage_); }

private:
    struct sockaddr_storage storage_;
    bool present_;
};
