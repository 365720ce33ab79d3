#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>

namespace veltra {

class MessageReceiver;

// Receives what agents record: listens on a free TCP port of 127.0.0.1, takes every connection
// for one message, and passes the messages on from a thread of its own.
//
// Messages come in the order in which their connections were accepted, so those of one process
// come in the order in which it sent them. A connection that has been silent for longer than
// `patience` while others wait for it loses its place: its message comes when it ends. Connections
// are read side by side, so a slow sender delays nobody but those who come after it in the order.
class Recorder {
public:
    // Takes one message with every byte that arrived, normally one line with its newline. The view
    // is valid during the call only. Runs on the receiving thread, never twice at the same time,
    // and never again once stop() has returned. Must not throw and must not call stop(). While it
    // runs nothing is read, so senders may have to wait.
    using MessageCallback = std::function<void(std::string_view message)>;

    // How long a connection may be silent while others wait for it, if nothing else is said.
    static constexpr std::chrono::milliseconds defaultPatience{2000};

    // Starts to listen and to receive: once this has returned, senders may connect. The receiving
    // thread takes no signals. Descriptors are closed on exec.
    // Throws std::system_error when the system refuses a descriptor, the port or the thread.
    explicit Recorder(MessageCallback onMessage,
                      std::chrono::milliseconds patience = defaultPatience);

    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // Calls stop().
    ~Recorder();

    // The TCP port on 127.0.0.1 that senders connect to, in host byte order. Also known after
    // stop().
    std::uint16_t port() const noexcept;

    // Reads everything that has already connected to its end, passes it on, and ends the receiving
    // thread; later senders are refused. Connections that neither send nor close are waited for
    // until nothing at all has arrived for the time of `patience`; then what they had sent is
    // passed on as it is. Does nothing when it was called before. Not for two threads at a time.
    void stop();

private:
    std::unique_ptr<MessageReceiver> receiver_;
    std::thread thread_;
};

}  // namespace veltra
