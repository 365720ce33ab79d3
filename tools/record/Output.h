#pragma once

#include <atomic>
#include <chrono>
#include <string_view>

namespace veltra {

// Writes to a descriptor however long that takes, and lets others see how long it is taking.
class Output {
public:
    explicit Output(int descriptor) noexcept : descriptor_(descriptor) {}

    int descriptor() const noexcept { return descriptor_; }

    // Writes all of it. Returns 0, or the error code that prevented it. Not for two threads at a
    // time.
    int write(std::string_view text) noexcept;

    // For how long the reader has been keeping a write waiting; 0 when nobody is writing. May be
    // called by any thread.
    std::chrono::milliseconds waiting() const noexcept;

private:
    using Clock = std::chrono::steady_clock;

    ssize_t writeSome(std::string_view text) noexcept;

    int descriptor_;
    std::atomic<Clock::time_point> writingSince_{Clock::time_point::max()};
};

}  // namespace veltra
