#include "recorder/Connection.h"

#include <sys/socket.h>

#include <cerrno>

namespace veltra {

namespace {

constexpr int readsAtOnce = 16;

}  // namespace

bool Connection::receive(std::span<char> buffer, RecorderClock::time_point now) {
    bool heard = false;
    for (int reads = 0; reads < readsAtOnce && isOpen(); ++reads) {
        const ssize_t count = ::recv(socket_.number(), buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) break;
        heard = true;
        if (count > 0) {
            text_.append(buffer.data(), static_cast<std::size_t>(count));
        } else {
            socket_.close();
        }
    }
    if (heard) lastHeard_ = now;
    return heard;
}

}  // namespace veltra
