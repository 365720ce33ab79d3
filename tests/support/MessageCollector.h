#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "recorder/Recorder.h"

namespace veltra::testing {

// A recorder on a loopback port of its own that keeps the messages it receives, in the order in
// which their connections were accepted.
class MessageCollector {
public:
    MessageCollector() : recorder_([this](std::string_view message) { add(message); }) {}

    std::uint16_t port() const { return recorder_.port(); }

    // What has arrived, as soon as that is at least `count` messages.
    std::vector<std::string> waitForCount(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return messages_.size() >= count; });
        return messages_;
    }

    // Stops receiving, so that nothing can follow, and gives what has arrived. Empty afterwards.
    std::vector<std::string> takeAfterStop() {
        recorder_.stop();
        const std::lock_guard lock(mutex_);
        return std::move(messages_);
    }

private:
    void add(std::string_view message) {
        const std::lock_guard lock(mutex_);
        messages_.emplace_back(message);
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> messages_;
    Recorder recorder_;  // last: its thread uses the others
};

}  // namespace veltra::testing
