#include "hooks/PeerAddress.h"

#include <algorithm>
#include <cstring>

#include "base/applicationMemory.h"

namespace {

bool isReadable(const socklen_t* length) {
    return readableLength(length, sizeof(*length)) == sizeof(*length);
}

}  // namespace

PeerAddress::PeerAddress(struct sockaddr* address, socklen_t* length)
    : area_(address != nullptr ? address : reinterpret_cast<struct sockaddr*>(&ownArea_)),
      length_(length) {
    const bool canBeRead = isReadable(length);
    // Without an address nobody looks at the length: a bad one is no error.
    const bool isBad = !canBeRead || static_cast<int>(*length) < 0;
    if (length == nullptr || (address == nullptr && isBad)) {
        length_ = &ownLength_;
    } else if (canBeRead) {
        room_ = std::max(*length, smallestLength);
        // One that cannot be written is the caller's mistake, which the system answers.
        if (*length < smallestLength && isWritable(length, sizeof(*length))) {
            length_ = &ownLength_;
            callersLength_ = length;
        }
    }
}

int PeerAddress::currentLength() const {
    return length_ == &ownLength_ || isReadable(length_) ? static_cast<int>(*length_) : 0;
}

sockaddr_storage PeerAddress::contents() const {
    sockaddr_storage copy{};
    const std::size_t wanted = std::min<std::size_t>(room_, sizeof(copy));
    const bool isOurs = area_ == reinterpret_cast<const struct sockaddr*>(&ownArea_);
    std::memcpy(&copy, area_, isOurs ? wanted : readableLength(area_, wanted));
    return copy;
}
