#include "recorder/Recorder.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

#include "recorder/MessageReceiver.h"

namespace veltra {

namespace {

/// Blocks every signal for the calling thread and the threads that it starts meanwhile.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t previous_{};
};

}  // namespace

Recorder::Recorder(MessageCallback onMessage, std::chrono::milliseconds patience)
    : receiver_(std::make_unique<MessageReceiver>(std::move(onMessage), patience)) {
    // Signals are for the program that uses the recorder, not for a thread it does not know of.
    const AllSignalsBlocked signalsBlocked;
    thread_ = std::thread(&MessageReceiver::run, receiver_.get());
}

Recorder::~Recorder() {
    stop();
}

std::uint16_t Recorder::port() const noexcept {
    return receiver_->port();
}

void Recorder::stop() {
    if (!thread_.joinable()) return;
    receiver_->requestStop();
    thread_.join();
}

}  // namespace veltra
