#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"
#include "socks/Socks.h"

namespace {

void recordClose(int callNumber, const TimeStamps& start, int ticket, int fd, int result,
                 int error) {
    RecorderMessage message(RecorderMessageKind::close, callNumber);
    setTimeStampNs(message, start.nanoseconds);
    message.set(RecorderMessageAttribute::pid, currentProcessId.load(std::memory_order_relaxed));
    message.set(RecorderMessageAttribute::timestamp, start.milliseconds);
    message.setInt(RecorderMessageAttribute::ticket, ticket);
    message.setInt64(RecorderMessageAttribute::socket, fd);
    message.set(RecorderMessageAttribute::returnValue, result);
    message.set(RecorderMessageAttribute::error, error);
    sendToRecorder(message);
}

void traceNotLogged(int callNumber, int fd) {
    x_disp(TRACE_INFO, "[%d]closesocket on %lx not logged (no connect or accept)", callNumber,
           shownSocket(fd));
}

// The record and the newest bound port stay behind a close that failed only as far as the registry
// goes.
void afterFailedClose(SOCKETINFO* record, int callNumber, int fd, int error) {
    x_disp(TRACE_WARNI, "[%d]closesocket (SOCKET ERROR : %d %s : %s):\tsocket : %lx", callNumber,
           error, getSocketErrorKind(error), getSocketErrorMsg(error), shownSocket(fd));
    freeBindedPortMemo(fd);
    if (isTraceWrittenFor(record, TRACE_INFO)) traceNotLogged(callNumber, fd);
}

}  // namespace

int Myclose(int fd) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_close(fd);

    HookErrorCode error;
    const TimeStamps start;
    const int callNumber = numbers.callNumber;
    si_disp(record, TRACE_CALL, "[%d]closesocket \tsocket : %lx", callNumber, shownSocket(fd));
    const int result = error.around([&] { return True_close(fd); });
    if (result == -1) {
        afterFailedClose(record, callNumber, fd, error.code());
        return result;
    }

    const int opened = freeMemoOpenedSocket(record);
    const int accepted = freeMemoAcceptedSocket(record);
    removeSockaddrElem(record);
    // Once released, the record may serve another socket: its trace setting is taken before.
    const bool traced = isTraceWrittenFor(record, TRACE_INFO);
    freeSocketInfo(fd);
    x_disp(TRACE_RET, "[%d]closesocket (OK):\tsocket : %lx", callNumber, shownSocket(fd));
    freeBindedPortMemo(fd);
    if (opened == 0 && accepted == 0) {
        if (traced) traceNotLogged(callNumber, fd);
        return result;
    }
    recordClose(callNumber, start, ticketValue(numbers), fd, result, error.code());
    if (traced) {
        x_disp(TRACE_INFO, "[%d]closesocket on %lx (%s)", callNumber, shownSocket(fd),
               opened != 0 ? "connect" : "accept");
    }
    return result;
}
