#include <algorithm>
#include <cstring>

#include "base/applicationMemory.h"
#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"

namespace {

// The address arguments of the real call: the caller's where they are good enough to learn the
// peer's IPv4 address, else our own.
class PeerAddress {
public:
    PeerAddress(struct sockaddr* address, socklen_t* length)
        : area_(address != nullptr ? address : reinterpret_cast<struct sockaddr*>(&ownArea_)),
          length_(length) {
        if (length == nullptr) {
            length_ = &ownLength_;
        } else if (readableLength(length, sizeof(*length)) == sizeof(*length)) {
            room_ = std::max(*length, smallestLength);
            if (*length < smallestLength) {
                length_ = &ownLength_;
                callersLength_ = length;
            }
        }
    }
    PeerAddress(const PeerAddress&) = delete;
    PeerAddress& operator=(const PeerAddress&) = delete;

    struct sockaddr* area() const {
        return area_;
    }
    socklen_t* length() const { return length_; }

    // Hands the length found by the real call to a caller whose own was too short for the call.
    void copyLengthBack() const {
        if (callersLength_ != nullptr) *callersLength_ = ownLength_;
    }

    // The address that a successful call stored: the length may tell more than there was room for.
    sockaddr_storage stored() const {
        sockaddr_storage copy{};
        std::memcpy(&copy, area_, std::min<std::size_t>({room_, *length_, sizeof(copy)}));
        return copy;
    }

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

void recordAccept(int callNumber, const TimeStamps& start, int ticket, int listener, int fd,
                  const sockaddr_storage& peer) {
    RecorderMessage message(RecorderMessageKind::accept, callNumber);
    setTimeStampNs(message, start.nanoseconds);
    message.set(RecorderMessageAttribute::pid, currentProcessId.load(std::memory_order_relaxed));
    message.set(RecorderMessageAttribute::timestamp, start.milliseconds);
    message.setInt(RecorderMessageAttribute::ticket, ticket);
    message.setInt64(RecorderMessageAttribute::from, listener);
    message.setInt64(RecorderMessageAttribute::socket, fd);
    fillMsgWithName(&message, reinterpret_cast<const struct sockaddr*>(&peer));
    sendToRecorder(message);
}

}  // namespace

int Myaccept(int fd, struct sockaddr* addr, socklen_t* len) {
    HookErrorCode error;
    const TimeStamps start;
    const CallNumbers numbers;
    const int callNumber = numbers.callNumber;
    const PeerAddress peer(addr, len);
    s_disp(fd, TRACE_CALL, "[%d]accept \tsocket : %lx", callNumber, shownSocket(fd));
    const int accepted = error.around([&] { return True_accept(fd, peer.area(), peer.length()); });
    peer.copyLengthBack();

    if (accepted == -1) {
        x_disp(
            TRACE_WARNI,
            "[%d]accept (INVALID_SOCKET : %d %s : %s):\tsocket : %lx\t addrlen %d, addr = (0x%x)",
            callNumber, error.code(), getSocketErrorKind(error.code()),
            getSocketErrorMsg(error.code()), shownSocket(fd),
            static_cast<int>(shortAddress(peer.length())), shortAddress(peer.area()));
        return accepted;
    }
    x_disp(TRACE_RET, "[%d]accept (OK):\tsocket : %lx\t addrlen %d, addr = (0x%x)", callNumber,
           shownSocket(fd), static_cast<int>(shortAddress(peer.length())),
           shortAddress(peer.area()));
    // One message for each listening socket: its first accept.
    SOCKETINFO* const listener = getSocketInfo(fd);
    if (isAcceptedSocket(listener) == 0) {
        recordAccept(callNumber, start, ticketValue(numbers), fd, accepted, peer.stored());
        createMemoAcceptedSocket(listener);
    }
    return accepted;
}
