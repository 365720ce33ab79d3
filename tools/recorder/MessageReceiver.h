#pragma once

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string_view>
#include <vector>

#include "recorder/Connection.h"
#include "recorder/FileDescriptor.h"
#include "recorder/Listener.h"

namespace veltra {

// The receiving loop: accepts connections, reads all of them side by side, and hands out the
// messages in the order in which their connections were accepted.
class MessageReceiver {
public:
    // Listens from now on. Throws std::system_error when the system refuses.
    MessageReceiver(std::function<void(std::string_view)> onMessage,
                    std::chrono::milliseconds patience);

    // The TCP port on 127.0.0.1, in host byte order.
    std::uint16_t port() const noexcept { return listener_.port(); }

    // Receives and hands out messages until requestStop() was called and everything that had
    // connected by then is read to its end, or nothing more came for the time of `patience`.
    void run();

    // Makes run() finish. May be called from any thread, and before run().
    void requestStop() noexcept;

private:
    bool isFinished() const;
    void waitForActivity();
    void collectDescriptors();
    int millisecondsToWait() const;
    std::optional<RecorderClock::time_point> nextDeadline() const;
    void takeNoticeOfStop();
    void readConnections();
    void acceptConnections();
    void noteAcceptance(Listener::Outcome outcome);
    void readFrom(Connection& connection);
    void deliverInOrder();
    void deliver(const Connection& connection) const;

    const std::function<void(std::string_view)> onMessage_;
    const std::chrono::milliseconds patience_;
    Listener listener_;
    const FileDescriptor stopSignal_;
    std::list<Connection> connections_;  // in the order in which they were accepted
    std::vector<char> readBuffer_;

    // What the last wait told, and when. The listener and the stop signal come first in
    // `descriptors_`, then one for each of `polledConnections_`.
    std::vector<pollfd> descriptors_;
    std::vector<Connection*> polledConnections_;
    RecorderClock::time_point now_;

    bool acceptingLater_ = false;
    bool stopping_ = false;
    int acceptsLeft_ = Listener::queueCapacity;  // counts once it is stopping
    RecorderClock::time_point lastProgress_;
};

}  // namespace veltra
