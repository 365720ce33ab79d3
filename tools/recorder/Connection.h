#pragma once

#include <chrono>
#include <span>
#include <string>
#include <utility>

#include "recorder/FileDescriptor.h"

namespace veltra {

using RecorderClock = std::chrono::steady_clock;

// One sender's connection and the message that has arrived on it so far.
class Connection {
public:
    // Takes over the non-blocking `socket`, which was accepted at `now`.
    Connection(FileDescriptor socket, RecorderClock::time_point now)
        : socket_(std::move(socket)), lastHeard_(now) {}

    // Reads, through `buffer`, what has arrived until now, though not so much at once that other
    // connections would have to wait for long. Closes the socket at the sender's end, be it a
    // close or a reset. Returns whether there was anything: bytes or the end.
    bool receive(std::span<char> buffer, RecorderClock::time_point now);

    // Whether more may arrive.
    bool isOpen() const noexcept { return socket_.isOpen(); }

    // For poll(); -1 when the connection has ended.
    int descriptor() const noexcept { return socket_.number(); }

    // Every byte that has arrived.
    const std::string& text() const noexcept { return text_; }

    // When something last arrived, or else when the connection was accepted.
    RecorderClock::time_point lastHeard() const noexcept { return lastHeard_; }

    // Whether later connections wait for this one, so that messages come out in order.
    bool keepsPlace() const noexcept { return keepsPlace_; }

    // From now on nobody waits for this connection any more.
    void givePlaceUp() noexcept { keepsPlace_ = false; }

private:
    FileDescriptor socket_;
    std::string text_;
    RecorderClock::time_point lastHeard_;
    bool keepsPlace_ = true;
};

}  // namespace veltra
