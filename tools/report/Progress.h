#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace veltra {

// A line on standard error that shows how much of the input is read, if that takes long. It shows
// nothing where standard error is no terminal.
class Progress {
public:
    // `total`: how many bytes there are, or 0 if that is not known. `isWanted`: false keeps it from
    // showing anything.
    Progress(std::uint64_t total, bool isWanted);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    // Calls clear().
    ~Progress();

    // `count` more bytes have been read.
    void advance(std::uint64_t count);

    // Takes the line away, so that something else can be written there.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    std::string text() const;

    const std::uint64_t total_;
    const bool isShown_;
    std::uint64_t done_ = 0;
    bool isVisible_ = false;
    Clock::time_point nextShow_;
};

}  // namespace veltra
