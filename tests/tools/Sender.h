#pragma once

#include <cstdint>
#include <string_view>

#include "recorder/FileDescriptor.h"

namespace veltra::testing {

// The sending side of one connection to a recorder. A call that the system refuses throws
// std::system_error.
class Sender {
public:
    // Makes a socket that is not connected yet.
    Sender();

    // Makes one that is connected to the port of 127.0.0.1.
    explicit Sender(std::uint16_t port);

    void connect(std::uint16_t port);

    // Sends all of it, waiting as long as it takes.
    void send(std::string_view text);

    // Ends the message but keeps the descriptor.
    void endMessage();

    void close() { socket_.close(); }

    // Closes with a reset instead of an orderly end.
    void reset();

private:
    FileDescriptor socket_;
};

// Sends one message on a connection of its own, as an agent does.
void sendMessage(std::uint16_t port, std::string_view text);

}  // namespace veltra::testing
