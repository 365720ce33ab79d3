#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

namespace {

void traceResult(const SOCKETINFO* record, int callNumber, int fd, const void* buf, size_t count,
                 ssize_t result, int error) {
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]write (SOCKET ERROR : %d %s : %s):\tsocket : %lx\t count = %d,\t buf = 0x%08X",
                callNumber, error, getSocketErrorKind(error), getSocketErrorMsg(error),
                shownSocket(fd), static_cast<int>(count), shortAddress(buf));
    } else if (isTraceWrittenFor(record, TRACE_RET)) {
        const TracedText shown = tracedText(buf);
        si_disp(record, TRACE_RET,
                "[%d]write (OK):\tsocket : %lx\t count = %d,\t buf = 0x%08X \"%.*s\"", callNumber,
                shownSocket(fd), static_cast<int>(count), shortAddress(buf), shown.length,
                shown.text);
    }
}

}  // namespace

ssize_t Mywrite(int fd, const void* buf, size_t count) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_write(fd, buf, count);

    HookErrorCode error;
    const EntryStamps entry(record);
    const int callNumber = numbers.callNumber;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]write \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result = error.around([&] { return True_write(fd, buf, count); });
    traceResult(record, callNumber, fd, buf, count, result, error.code());
    if (!isDataRecorded(record, "write", callNumber, fd)) return result;

    RecorderMessage message(RecorderMessageKind::send, callNumber);
    setSendHeader(message, entry, ticketValue(numbers), fd);
    setSentData(message, buf, count, result, error.code());
    message.set(RecorderMessageAttribute::length, static_cast<unsigned long>(count));
    sendWithResult(message, result, error.code());
    return result;
}
