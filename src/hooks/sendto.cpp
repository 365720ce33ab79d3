#include <cerrno>

#include "base/applicationMemory.h"
#include "base/traceUtils.h"
#include "hooks/dataHooks.h"
#include "socks/Socks.h"

namespace {

// Shorter addresses are not recorded.
constexpr socklen_t smallestAddress = 16;

void traceResult(const SOCKETINFO* record, int callNumber, int fd, const void* buf, size_t len,
                 int flags, ssize_t result, int error) {
    if (result == -1) {
        si_disp(record, TRACE_WARNI,
                "[%d]sendto (SOCKET ERROR : %d %s : %s):\tsocket : %lx\t len = %d,\t flags = %d,\t "
                "buf = "
                "0x%08X",
                callNumber, error, getSocketErrorKind(error), getSocketErrorMsg(error),
                shownSocket(fd), static_cast<int>(len), flags, shortAddress(buf));
    } else {
        si_disp(record, TRACE_RET,
                "[%d]sendto (OK):\tsocket : %lx\t len = %d,\t flags = %d,\t buf = 0x%08X",
                callNumber, shownSocket(fd), static_cast<int>(len), flags, shortAddress(buf));
    }
}

}  // namespace

ssize_t Mysendto(int fd, const void* buf, size_t len, int flags, const struct sockaddr* to,
                 socklen_t tolen) {
    const CallNumbers numbers;
    // The real call never gets a null address: established, though a connected datagram socket then
    // answers that the address is too short.
    const sockaddr_storage noAddress{};
    const auto* const destination =
        to != nullptr ? to : reinterpret_cast<const struct sockaddr*>(&noAddress);
    SOCKETINFO* const record = getSocketInfo(fd);
    if (record == nullptr) return True_sendto(fd, buf, len, flags, destination, tolen);

    HookErrorCode error;
    const EntryStamps entry(record);
    const int callNumber = numbers.callNumber;
    if (!waitConnectionDone(record, callNumber)) return error.refuse(EAGAIN);
    si_disp(record, TRACE_CALL, "[%d]sendto \tsocket : %lx", callNumber, shownSocket(fd));
    const ssize_t result =
        error.around([&] { return True_sendto(fd, buf, len, flags, destination, tolen); });
    traceResult(record, callNumber, fd, buf, len, flags, result, error.code());
    if (!isDataRecorded(record, "sendto", callNumber, fd)) return result;

    RecorderMessage message(RecorderMessageKind::send, callNumber);
    setSendHeader(message, entry, ticketValue(numbers), fd);
    setSentData(message, buf, len, result, error.code());
    message.set(RecorderMessageAttribute::length, static_cast<unsigned long>(len));
    setPossibleUdp(message, record);
    if (tolen >= smallestAddress) fillMsgWithName(&message, AddressCopy(destination, tolen).get());
    sendWithResult(message, result, error.code());
    return result;
}
