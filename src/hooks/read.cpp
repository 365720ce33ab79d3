#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

ssize_t Myread(int fd, void* buf, size_t count) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_read(fd, buf, count);

    HookErrorCode error;
    const int callNumber = numbers.callNumber;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]read \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result = error.around([&] { return True_read(fd, buf, count); });
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]read (SOCKET ERROR : %d %s : %s) :\tsocket : %lx\t len = %d,\t buf = 0x%08X",
                callNumber, error.code(), getSocketErrorKind(error.code()),
                getSocketErrorMsg(error.code()), shownSocket(fd), static_cast<int>(count),
                shortAddress(buf));
    } else {
        si_disp(record, TRACE_RET, "[%d]read (OK) :\tsocket : %lx\t len = %d,\t buf = 0x%08X",
                callNumber, shownSocket(fd), static_cast<int>(count), shortAddress(buf));
    }
    if (!isDataRecorded(record, "read", callNumber, fd)) return result;
    if (isNothingToRead(result, error.code())) return result;

    // The ticket is the entry's, the stamps are those of the data's arrival.
    const TimeStamps arrival;
    RecorderMessage message(RecorderMessageKind::receive, callNumber);
    setReceiveHeader(message, arrival, ticketValue(numbers), fd);
    setReceivedData(message, buf, count, result, 0);
    message.set(RecorderMessageAttribute::length, static_cast<int>(result));
    sendWithResult(message, result, error.code());
    return result;
}
