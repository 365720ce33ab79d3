#pragma once

// What the eight data hooks share.

#include <sys/uio.h>

#include <optional>

#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "hooks/tracedText.h"

// True when the socket's data is recorded and there is a recorder or a log to see it; traces a
// socket whose data is not recorded, and why.
bool isDataRecorded(const SOCKETINFO* record, const char* hookName, int callNumber, int fd);

// The moment at which a send was entered. The clocks are read only where that will be recorded.
class EntryStamps {
public:
    explicit EntryStamps(const SOCKETINFO* record);

    // The present moment for a socket that another thread has made a recorded one in between.
    TimeStamps get() const { return stamps_ ? *stamps_ : TimeStamps(); }

private:
    std::optional<TimeStamps> stamps_;
};

// True for a receive that found nothing on a non-blocking socket, which leaves no message.
bool isNothingToRead(ssize_t result, int error);

// The attributes before "data" of a "send" message.
void setSendHeader(RecorderMessage& message, const EntryStamps& entry, int ticket, int fd);

// The attributes before "data" of a "receive" message.
void setReceiveHeader(RecorderMessage& message, const TimeStamps& arrival, int ticket, int fd);

// "info" on a socket whose protocol is UDP, should one ever come to be recorded.
void setPossibleUdp(RecorderMessage& message, const SOCKETINFO* record);

// "return" and "error", and the message on its way.
void sendWithResult(RecorderMessage& message, ssize_t result, int error);

// "data" of a send: the caller's whole buffer, whatever the real call took of it. Bytes that the
// real call has not proved readable are recorded only if they can be read.
void setSentData(RecorderMessage& message, const void* buffer, size_t length, ssize_t result,
                 int error);

// "data" of a receive: the bytes received; at the end of the stream, the text that the buffer still
// holds; nothing after a failure.
void setReceivedData(RecorderMessage& message, const void* buffer, size_t length, ssize_t result,
                     int flags);

// The buffers of a message header as far as the agent may read them after the real call.
struct MessageBuffers {
    const iovec* array = nullptr;
    size_t count = 0;

    // `result`: that of the real call, whose success proves that it could read the header.
    MessageBuffers(const msghdr* header, ssize_t result);

    // The sum of the lengths, in 32-bit arithmetic.
    int totalLength() const;

    // True when every byte of every buffer can be read. After the real call faulted (`error`) on
    // one of them, none is looked at.
    bool areReadable(int error) const;
};
