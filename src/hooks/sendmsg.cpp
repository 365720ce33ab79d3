#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

ssize_t Mysendmsg(int fd, const struct msghdr* msg, int flags) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_sendmsg(fd, msg, flags);

    HookErrorCode error;
    const EntryStamps entry(record);
    const int callNumber = numbers.callNumber;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]sendmsg \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result = error.around([&] { return True_sendmsg(fd, msg, flags); });
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]sendmsg (SOCKET ERROR : %d %s : %s):\tsocket : %lx\t buf = 0x%08X", callNumber,
                error.code(), getSocketErrorKind(error.code()), getSocketErrorMsg(error.code()),
                shownSocket(fd), shortAddress(msg));
    } else {
        si_disp(record, TRACE_RET, "[%d]sendmsg (OK):\tsocket : %lx\t \t buf = 0x%08X ", callNumber,
                shownSocket(fd), shortAddress(msg));
    }
    if (!isDataRecorded(record, "sendmsg", callNumber, fd)) return result;

    RecorderMessage message(RecorderMessageKind::send, callNumber);
    setSendHeader(message, entry, ticketValue(numbers), fd);
    const MessageBuffers buffers(msg, result);
    const int total = buffers.totalLength();
    const bool tookAll = result >= 0 && result == total;
    if (tookAll || buffers.areReadable(error.code())) {
        message.setiovect(RecorderMessageAttribute::data, buffers.array, buffers.count,
                          static_cast<unsigned long>(total));
    }
    message.set(RecorderMessageAttribute::length, total);
    sendWithResult(message, result, error.code());
    return result;
}
