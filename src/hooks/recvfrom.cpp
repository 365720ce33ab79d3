#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/PeerAddress.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

namespace {

void traceResult(const SOCKETINFO* record, int callNumber, int fd, const void* buf, size_t len,
                 int flags, const PeerAddress& peer, ssize_t result, int error) {
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]recvfrom (SOCKET ERROR : %d %s : %s) :\tsocket : %lx\t len = %d,\t flags = "
                "%d,\t buf "
                "= 0x%08X\t from = 0x%08X\t fromlen %d",
                callNumber, error, getSocketErrorKind(error), getSocketErrorMsg(error),
                shownSocket(fd), static_cast<int>(len), flags, shortAddress(buf),
                shortAddress(peer.area()), peer.currentLength());
    } else {
        si_disp(
            record, TRACE_RET,
            "[%d]recvfrom (OK) :\tsocket : %lx\t len = %d,\t flags = %d,\t buf = 0x%08X\t from = "
            "0x%08X\t fromlen %d",
            callNumber, shownSocket(fd), static_cast<int>(len), flags, shortAddress(buf),
            shortAddress(peer.area()), peer.currentLength());
    }
}

}  // namespace

ssize_t Myrecvfrom(int fd, void* buf, size_t len, int flags, struct sockaddr* from,
                   socklen_t* fromlen) {
    const int callNumber = getGlobalCpt();
    PeerAddress peer(from, fromlen);
    SOCKETINFO* const record = getSocketInfo(fd);

    HookErrorCode error;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]recvfrom \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result = error.around(
        [&] { return True_recvfrom(fd, buf, len, flags, peer.area(), peer.length()); });
    peer.copyLengthBack();
    if (isTraceWrittenFor(record, result == -1 ? TRACE_WARNI : TRACE_RET)) {
        traceResult(record, callNumber, fd, buf, len, flags, peer, result, error.code());
    }
    if (!isDataRecorded(record, "recvfrom", callNumber, fd)) return result;
    if (isNothingToRead(result, error.code())) return result;

    // Stamps and ticket are those of the data's arrival.
    const TimeStamps arrival;
    const long long ticket = getTicket();
    RecorderMessage message(RecorderMessageKind::receive, callNumber);
    setReceiveHeader(message, arrival, static_cast<int>(ticket), fd);
    setReceivedData(message, buf, len, result, flags);
    message.set(RecorderMessageAttribute::length, static_cast<int>(result));
    setPossibleUdp(message, record);
    const sockaddr_storage stored = peer.contents();
    fillMsgWithName(&message, reinterpret_cast<const struct sockaddr*>(&stored));
    sendWithResult(message, result, error.code());
    return result;
}
