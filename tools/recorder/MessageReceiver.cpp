#include "recorder/MessageReceiver.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <thread>
#include <utility>

#include "recorder/SystemCall.h"

namespace veltra {

namespace {

constexpr std::size_t readBufferSize = 256U << 10U;
constexpr int acceptsAtOnce = 64;
constexpr std::chrono::milliseconds retryInterval{50};

enum : std::size_t { listenerIndex, stopSignalIndex, firstConnectionIndex };

}  // namespace

MessageReceiver::MessageReceiver(std::function<void(std::string_view)> onMessage,
                                 std::chrono::milliseconds patience)
    : onMessage_(std::move(onMessage)),
      patience_(patience),
      stopSignal_(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK),
                          "cannot create the recorder's stop signal")),
      readBuffer_(readBufferSize) {}

void MessageReceiver::requestStop() noexcept {
    ::eventfd_write(stopSignal_.number(), 1);
}

void MessageReceiver::run() {
    while (!isFinished()) {
        waitForActivity();
        takeNoticeOfStop();
        readConnections();
        acceptConnections();
        deliverInOrder();
    }
    for (const Connection& abandoned : connections_) {
        deliver(abandoned);
    }
    connections_.clear();
    listener_.close();
}

bool MessageReceiver::isFinished() const {
    if (!stopping_) return false;
    const bool everythingRead = !listener_.isOpen() && connections_.empty();
    return everythingRead || now_ - lastProgress_ >= patience_;
}

void MessageReceiver::waitForActivity() {
    collectDescriptors();
    if (::poll(descriptors_.data(), descriptors_.size(), millisecondsToWait()) < 0) {
        // Reading without waiting finds out what is ready just as well, at a slower pace.
        for (pollfd& descriptor : descriptors_) {
            descriptor.revents = POLLIN;
        }
        if (errno != EINTR) std::this_thread::sleep_for(retryInterval);
    }
    now_ = RecorderClock::now();
}

void MessageReceiver::collectDescriptors() {
    descriptors_.clear();
    polledConnections_.clear();
    // poll() skips negative descriptors.
    descriptors_.push_back({acceptingLater_ ? -1 : listener_.descriptor(), POLLIN, 0});
    descriptors_.push_back({stopping_ ? -1 : stopSignal_.number(), POLLIN, 0});
    for (Connection& connection : connections_) {
        if (!connection.isOpen()) continue;
        descriptors_.push_back({connection.descriptor(), POLLIN, 0});
        polledConnections_.push_back(&connection);
    }
}

int MessageReceiver::millisecondsToWait() const {
    const auto deadline = nextDeadline();
    if (!deadline) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*deadline - RecorderClock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(
        left.count(), 0, std::numeric_limits<int>::max()));
}

std::optional<RecorderClock::time_point> MessageReceiver::nextDeadline() const {
    std::optional<RecorderClock::time_point> next;
    const auto consider = [&next](RecorderClock::time_point deadline) {
        next = next ? std::min(*next, deadline) : deadline;
    };
    if (acceptingLater_) consider(now_ + retryInterval);
    if (stopping_) consider(lastProgress_ + patience_);
    const auto first = std::ranges::find_if(connections_, &Connection::keepsPlace);
    if (first != connections_.end()) consider(first->lastHeard() + patience_);
    return next;
}

void MessageReceiver::takeNoticeOfStop() {
    if (descriptors_[stopSignalIndex].revents == 0) return;
    eventfd_t value = 0;
    if (::eventfd_read(stopSignal_.number(), &value) != 0) return;
    stopping_ = true;
    lastProgress_ = now_;
}

void MessageReceiver::readConnections() {
    for (std::size_t i = 0; i < polledConnections_.size(); ++i) {
        if (descriptors_[firstConnectionIndex + i].revents != 0) readFrom(*polledConnections_[i]);
    }
}

void MessageReceiver::acceptConnections() {
    const bool worthTrying =
        descriptors_[listenerIndex].revents != 0 || acceptingLater_ || stopping_;
    if (!worthTrying) return;
    for (int accepts = 0; accepts < acceptsAtOnce && listener_.isOpen(); ++accepts) {
        Listener::Result next = listener_.accept();
        noteAcceptance(next.outcome);
        if (next.outcome != Listener::Outcome::accepted) return;
        readFrom(connections_.emplace_back(std::move(next.connection), now_));
    }
}

void MessageReceiver::noteAcceptance(Listener::Outcome outcome) {
    acceptingLater_ = outcome == Listener::Outcome::tryLater;
    if (outcome == Listener::Outcome::accepted) lastProgress_ = now_;
    if (!stopping_) return;
    // What had connected when the stop was asked for is at the head of the queue. Senders who keep
    // coming must not keep the recorder from ending.
    if (outcome == Listener::Outcome::accepted) --acceptsLeft_;
    if (outcome == Listener::Outcome::queueEmpty || acceptsLeft_ == 0) listener_.close();
}

void MessageReceiver::readFrom(Connection& connection) {
    if (connection.receive(readBuffer_, now_)) lastProgress_ = now_;
}

void MessageReceiver::deliverInOrder() {
    for (auto connection = connections_.begin(); connection != connections_.end();) {
        if (!connection->isOpen()) {
            deliver(*connection);
            connection = connections_.erase(connection);
            continue;
        }
        if (now_ - connection->lastHeard() >= patience_) connection->givePlaceUp();
        if (connection->keepsPlace()) return;
        ++connection;
    }
}

void MessageReceiver::deliver(const Connection& connection) const {
    if (!connection.text().empty()) onMessage_(connection.text());
}

}  // namespace veltra
