#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/PeerAddress.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"

namespace {

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
    PeerAddress peer(addr, len);
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
    if (claimAcceptedMark(listener)) {
        recordAccept(callNumber, start, ticketValue(numbers), fd, accepted, peer.contents());
    }
    return accepted;
}
