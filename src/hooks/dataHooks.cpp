#include "hooks/dataHooks.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "base/applicationMemory.h"
#include "recording/AgentInterface.h"

namespace {

bool isAnybodyWatching() {
    return !agentInterfaceUnplugged.load(std::memory_order_relaxed) || hasLogFile();
}

}  // namespace

bool isDataRecorded(const SOCKETINFO* record, const char* hookName, int callNumber, int fd) {
    const int reason = shouldBeLogged(record);
    if (reason == SHOULDBELOGGED) return isAnybodyWatching();
    si_disp(record, TRACE_INFO, "[%d]%s on %lx not logged (%s)", callNumber, hookName,
            shownSocket(fd), ImageShouldBeLogged[reason]);
    return false;
}

EntryStamps::EntryStamps(const SOCKETINFO* record) {
    if (shouldBeLogged(record) == SHOULDBELOGGED && isAnybodyWatching()) stamps_.emplace();
}

bool isNothingToRead(ssize_t result, int error) {
    return result <= 0 && error == EAGAIN;
}

void setSendHeader(RecorderMessage& message, const EntryStamps& entry, int ticket, int fd) {
    const TimeStamps start = entry.get();
    setTimeStampNs(message, start.nanoseconds);
    message.set(RecorderMessageAttribute::timestamp, start.milliseconds);
    message.setInt(RecorderMessageAttribute::ticket, ticket);
    message.setInt64(RecorderMessageAttribute::socket, fd);
    message.set(RecorderMessageAttribute::pid, currentProcessId.load(std::memory_order_relaxed));
}

void setReceiveHeader(RecorderMessage& message, const TimeStamps& arrival, int ticket, int fd) {
    setTimeStampNs(message, arrival.nanoseconds);
    message.set(RecorderMessageAttribute::pid, currentProcessId.load(std::memory_order_relaxed));
    message.set(RecorderMessageAttribute::timestamp, arrival.milliseconds);
    message.setInt(RecorderMessageAttribute::ticket, ticket);
    message.setInt64(RecorderMessageAttribute::socket, fd);
}

void setPossibleUdp(RecorderMessage& message, const SOCKETINFO* record) {
    if (getProtocol(record) == IPPROTO_UDP) {
        message.set(RecorderMessageAttribute::info, "POSSIBLE_UDP", 0);
    }
}

void sendWithResult(RecorderMessage& message, ssize_t result, int error) {
    message.set(RecorderMessageAttribute::returnValue, static_cast<int>(result));
    message.set(RecorderMessageAttribute::error, error);
    sendToRecorder(message);
}

void setSentData(RecorderMessage& message, const void* buffer, size_t length, ssize_t result,
                 int error) {
    // A length that is no positive 32-bit count gives no data.
    if (length == 0 || length > INT_MAX || (result == -1 && error == EFAULT)) return;
    const bool tookAll = result >= 0 && static_cast<size_t>(result) == length;
    const size_t readable = tookAll ? length : readableLength(buffer, length);
    if (readable == 0) return;
    message.set(RecorderMessageAttribute::data, static_cast<const char*>(buffer),
                static_cast<int>(readable));
}

void setReceivedData(RecorderMessage& message, const void* buffer, size_t length, ssize_t result,
                     int flags) {
    if (buffer == nullptr || result < 0) return;
    const auto* const bytes = static_cast<const char*>(buffer);
    size_t count = std::min(static_cast<size_t>(result), length);
    // With MSG_TRUNC the result counts bytes that were not stored.
    if ((flags & MSG_TRUNC) != 0) count = readableLength(buffer, count);
    if (result == 0) count = strnlen(bytes, readableLength(buffer, length));
    // A count of 0 would mean: up to the zero byte.
    message.set(RecorderMessageAttribute::data, count == 0 ? "" : bytes, static_cast<int>(count));
}

MessageBuffers::MessageBuffers(const msghdr* header, ssize_t result) {
    if (result == -1) {
        if (readableLength(header, sizeof(*header)) != sizeof(*header)) return;
        constexpr size_t most = SIZE_MAX / sizeof(iovec);
        const size_t size = std::min(header->msg_iovlen, most) * sizeof(iovec);
        if (readableLength(header->msg_iov, size) != size) return;
    }
    array = header->msg_iov;
    count = header->msg_iovlen;
}

int MessageBuffers::totalLength() const {
    std::uint32_t total = 0;
    for (size_t i = 0; i < count; ++i)
        total += static_cast<std::uint32_t>(array[i].iov_len);
    return static_cast<int>(total);
}

bool MessageBuffers::areReadable(int error) const {
    if (error == EFAULT) return false;
    return std::all_of(array, array + count, [](const iovec& buffer) {
        return readableLength(buffer.iov_base, buffer.iov_len) == buffer.iov_len;
    });
}
