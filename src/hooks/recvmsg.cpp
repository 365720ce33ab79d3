#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

ssize_t Myrecvmsg(int fd, struct msghdr* msg, int flags) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_recvmsg(fd, msg, flags);

    HookErrorCode error;
    const int callNumber = numbers.callNumber;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]recvmsg \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result = error.around([&] { return True_recvmsg(fd, msg, flags); });
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]recvmsg (SOCKET ERROR : %d %s : %s) :\tsocket : %lx\t buf = 0x%08X",
                callNumber, error.code(), getSocketErrorKind(error.code()),
                getSocketErrorMsg(error.code()), shownSocket(fd), shortAddress(msg));
    } else {
        si_disp(record, TRACE_RET, "[%d]recvmsg (OK) :\tsocket : %lx\t buf = 0x%08X", callNumber,
                shownSocket(fd), shortAddress(msg));
    }
    if (!isDataRecorded(record, "recvmsg", callNumber, fd)) return result;
    if (isNothingToRead(result, error.code())) return result;

    // The ticket is the entry's, the stamps are those of the data's arrival.
    const TimeStamps arrival;
    RecorderMessage message(RecorderMessageKind::receive, callNumber);
    setReceiveHeader(message, arrival, ticketValue(numbers), fd);
    // After a failure the limit is without bound, and every buffer is recorded in full.
    const MessageBuffers buffers(msg, result);
    const bool wereFilled = result >= 0 && (flags & MSG_TRUNC) == 0;
    if (wereFilled || buffers.areReadable(error.code())) {
        message.setiovect(RecorderMessageAttribute::data, buffers.array, buffers.count,
                          static_cast<unsigned long>(result));
    }
    message.set(RecorderMessageAttribute::length, static_cast<int>(result));
    sendWithResult(message, result, error.code());
    return result;
}
