#include <cerrno>

#include "base/memoryOwner.h"
#include "base/ownDescriptors.h"
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

// The agent's own descriptors are none to the application.
int closeForApplication(int fd) {
    if (!isOwnDescriptor(fd)) [[likely]]
        return True_close(fd);
    WSASetLastError(EBADF);
    return -1;
}

// The record stays in the registry.
void afterFailedClose(const SOCKETINFO* record, int callNumber, int fd, int error) {
    x_disp(TRACE_WARNI, "[%d]closesocket (SOCKET ERROR : %d %s : %s):\tsocket : %lx", callNumber,
           error, getSocketErrorKind(error), getSocketErrorMsg(error), shownSocket(fd));
    displayBindedPortMemo();
    if (isTraceWrittenFor(record, TRACE_INFO)) traceNotLogged(callNumber, fd);
}

// What is known of the socket before its close.
struct ClosingSocket {
    explicit ClosingSocket(const SOCKETINFO* record)
        : wasOpened(isOpenedSocket(record) != 0),
          wasAccepted(isAcceptedSocket(record) != 0),
          isTraced(isTraceWrittenFor(record, TRACE_INFO)) {}

    bool wasOpened;
    bool wasAccepted;
    bool isTraced;
};

}  // namespace

int Myclose(int fd) {
    const CallNumbers numbers;
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr || isMemoryBorrowed()) return closeForApplication(fd);

    HookErrorCode error;
    const TimeStamps start;
    const int callNumber = numbers.callNumber;
    si_disp(record, TRACE_CALL, "[%d]closesocket \tsocket : %lx", callNumber, shownSocket(fd));
    const ClosingSocket closing(record);
    forgetNewestBoundPort(fd);  // also if the close fails
    const bool isOurs = withdrawSocketInfo(record, fd);
    const int result = error.around([&] { return closeForApplication(fd); });
    if (result == -1) {
        if (isOurs) restoreSocketInfo(record, fd);
        afterFailedClose(record, callNumber, fd, error.code());
        return result;
    }

    if (isOurs) releaseWithdrawnSocketInfo(record);
    x_disp(TRACE_RET, "[%d]closesocket (OK):\tsocket : %lx", callNumber, shownSocket(fd));
    displayBindedPortMemo();
    if (!closing.wasOpened && !closing.wasAccepted) {
        if (closing.isTraced) traceNotLogged(callNumber, fd);
        return result;
    }
    recordClose(callNumber, start, ticketValue(numbers), fd, result, error.code());
    if (closing.isTraced) {
        x_disp(TRACE_INFO, "[%d]closesocket on %lx (%s)", callNumber, shownSocket(fd),
               closing.wasOpened ? "connect" : "accept");
    }
    return result;
}
