#pragma once

#include <sys/socket.h>

#include <cstdint>

#include "recorder/FileDescriptor.h"

namespace veltra {

// A non-blocking listening socket on a free TCP port of 127.0.0.1.
class Listener {
public:
    // How many finished connections may wait to be accepted. The system may allow fewer.
    static constexpr int queueCapacity = SOMAXCONN;

    enum class Outcome {
        accepted,    // `connection` is the next one of the queue
        queueEmpty,  // nobody is waiting
        tryLater     // somebody may be waiting, but the system has no descriptor to give just now
    };

    struct Result {
        Outcome outcome;
        FileDescriptor connection;  // non-blocking and closed on exec
    };

    // Binds and listens. Throws std::system_error when the system refuses.
    Listener();

    // The TCP port, in host byte order. Still known after close().
    std::uint16_t port() const noexcept { return port_; }

    // For poll(); -1 after close().
    int descriptor() const noexcept { return socket_.number(); }

    bool isOpen() const noexcept { return socket_.isOpen(); }

    // Takes the next connection out of the queue, without waiting for one.
    Result accept();

    // Ends listening: whoever connects from now on is refused.
    void close() noexcept { socket_.close(); }

private:
    FileDescriptor socket_;
    std::uint16_t port_ = 0;
};

}  // namespace veltra
