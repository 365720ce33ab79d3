#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::testing {

// Keeps the messages that a recorder passes on. Safe to use from several threads.
class MessageCollector {
public:
    // The callback to give to a recorder; the collector must outlive it.
    auto callback() {
        return [this](std::string_view message) { add(message); };
    }

    // Returns what there is as soon as there are at least `count` messages.
    std::vector<std::string> waitFor(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return messages_.size() >= count; });
        return messages_;
    }

    std::vector<std::string> messages() { return waitFor(0); }

private:
    void add(std::string_view message) {
        const std::lock_guard lock(mutex_);
        messages_.emplace_back(message);
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> messages_;
};

}  // namespace veltra::testing
