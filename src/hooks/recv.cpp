#include <cerrno>

#include "base/traceUtils.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

ssize_t Myrecv(int fd, void* buf, size_t len, int flags) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_recv(fd, buf, len, flags);

    HookErrorCode error;
    const int callNumber = numbers.callNumber;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]recv \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result = error.around([&] { return True_recv(fd, buf, len, flags); });
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]recv (SOCKET ERROR : %d %s : %s) :\tsocket : %lx\t len = %d,\t flags = %d,\t "
                "buf = "
                "0x%08X",
                callNumber, error.code(), getSocketErrorKind(error.code()),
                getSocketErrorMsg(error.code()), shownSocket(fd), static_cast<int>(len), flags,
                shortAddress(buf));
    } else {
        si_disp(record, TRACE_RET,
                "[%d]recv (OK) :\tsocket : %lx\t len = %d,\t flags = %d,\t buf = 0x%08X",
                callNumber, shownSocket(fd), static_cast<int>(len), flags, shortAddress(buf));
    }
    if (!isDataRecorded(record, "recv", callNumber, fd)) return result;
    if (isNothingToRead(result, error.code())) return result;

    // Stamps and ticket are those of the data's arrival.
    const TimeStamps arrival;
    const long long ticket = getTicket();
    RecorderMessage message(RecorderMessageKind::receive, callNumber);
    setReceiveHeader(message, arrival, static_cast<int>(ticket), fd);
    setReceivedData(message, buf, len, result, flags);
    message.set(RecorderMessageAttribute::length, static_cast<int>(result));
    sendWithResult(message, result, error.code());
    return result;
}
