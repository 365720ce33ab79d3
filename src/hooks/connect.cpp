#include <cerrno>

#include "base/applicationMemory.h"
#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"
#include "socks/Socks.h"

namespace {

// What one connect finds out on its way.
struct ConnectOutcome {
    int socksStatus = SOCKS_NOT_APPLICABLE;
    int socksError = 0;
    int loopback = 0;
    int error = 0;
    bool toReconnect = true;
    int result = -1;
    int localport = 0;

    bool isFailure() const { return result == -1 && error != EINPROGRESS && error != 0; }
};

// The connect through a SOCKS server, if that is the way; the socket's data calls wait meanwhile.
void trySocks(SOCKETINFO* record, int callNumber, int fd, const struct sockaddr* address,
              socklen_t len, ConnectOutcome& outcome) {
    if (!lock_connection(record, callNumber)) {
        outcome.toReconnect = false;
        outcome.error = EALREADY;
        return;
    }
    outcome.socksStatus = SocksConnect(record, address, len, outcome.socksError);
    outcome.result = checkSocksStatus(fd, outcome.socksStatus, outcome.toReconnect,
                                      outcome.loopback, outcome.error);
    si_disp(
        record, TRACE_WARNI,
        "[%d]SocksConnect (SOCKS:  :socksStatus %d socksError %d toReconnect %d loopback %d ret %d",
        callNumber, outcome.socksStatus, outcome.socksError, outcome.toReconnect ? 1 : 0,
        outcome.loopback, outcome.result);
    unlock_connection(record, callNumber);
}

void recordConnect(const CallNumbers& numbers, const TimeStamps& start, int fd,
                   const struct sockaddr* destination, const ConnectOutcome& outcome) {
    const long long duration = getElapsedTime(start.milliseconds);
    const long long durationNs = getElapsedTimeNs(start.nanoseconds);
    RecorderMessage message(RecorderMessageKind::connect, numbers.callNumber);
    setTimeStampNs(message, start.nanoseconds);
    if (outcome.localport != 0) message.set(RecorderMessageAttribute::localport, outcome.localport);
    if (outcome.loopback != 0) message.set(RecorderMessageAttribute::loopback, outcome.loopback);
    if (outcome.socksStatus != SOCKS_REFUSED && isSocksModeActive()) {
        message.set(RecorderMessageAttribute::sockserror, outcome.socksError);
    }
    message.set(RecorderMessageAttribute::pid, currentProcessId.load(std::memory_order_relaxed));
    message.set(RecorderMessageAttribute::timestamp, start.milliseconds);
    message.setInt(RecorderMessageAttribute::ticket, ticketValue(numbers));
    message.setInt64(RecorderMessageAttribute::socket, fd);
    message.setInt(RecorderMessageAttribute::duration, static_cast<int>(duration));
    if (durationNs != -1) message.set(RecorderMessageAttribute::durationNs, durationNs);
    message.set(RecorderMessageAttribute::returnValue, outcome.result);
    fillMsgWithName(&message, destination);
    message.set(RecorderMessageAttribute::error,
                outcome.socksStatus == SOCKS_REFUSED ? outcome.socksError : outcome.error);
    sendToRecorder(message);
}

}  // namespace

int Myconnect(int fd, const struct sockaddr* addr, socklen_t len) {
    HookErrorCode errorCode;
    const TimeStamps start;
    const CallNumbers numbers;
    const int callNumber = numbers.callNumber;
    ConnectOutcome outcome;
    pre_init_startup();
    SOCKETINFO* const record = getSocketInfo(fd);
    si_disp(record, TRACE_CALL, "[%d]connect \tsocket : %lx", callNumber, shownSocket(fd));
    const AddressCopy destination(addr, len);
    if (getProtocol(record) != IPPROTO_UDP) {
        trySocks(record, callNumber, fd, destination.get(), len, outcome);
    }
    if (outcome.toReconnect) {
        outcome.result = errorCode.around([&] { return True_connect(fd, addr, len); });
        outcome.error = errorCode.code();
    }

    if (outcome.isFailure()) {
        si_disp(record, TRACE_WARNI,
                "[%d]connect (SOCKET ERROR : %d %s : %s):\tsocket : %lx\t name = 0x%08X,\t namelen "
                "= %d",
                callNumber, outcome.error, getSocketErrorKind(outcome.error),
                getSocketErrorMsg(outcome.error), shownSocket(fd), shortAddress(addr),
                static_cast<int>(len));
    } else {
        setFamily(record, destination.family());
        outcome.localport = getLocalPort(fd, destination.family());
        createMemoOpenedSocket(record);
        si_disp(record, TRACE_RET,
                "[%d]connect (OK):\tsocket : %lx\t name = 0x%08X,\t namelen = %d", callNumber,
                shownSocket(fd), shortAddress(addr), static_cast<int>(len));
    }
    const bool isInternet = destination.family() == AF_INET || destination.family() == AF_INET6;
    if (isInternet && getProtocol(record) != IPPROTO_UDP) {
        recordConnect(numbers, start, fd, destination.get(), outcome);
    }
    errorCode.set(outcome.error);
    return outcome.result;
}
