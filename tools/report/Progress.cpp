#include "report/Progress.h"

#include <unistd.h>

#include <iostream>

namespace veltra {

namespace {

constexpr std::chrono::milliseconds firstShow{500};
constexpr std::chrono::milliseconds showInterval{100};
constexpr std::uint64_t megabyte = 1'000'000;

}  // namespace

Progress::Progress(std::uint64_t total, bool isWanted)
    : total_(total),
      isShown_(isWanted && ::isatty(STDERR_FILENO) == 1),
      nextShow_(Clock::now() + firstShow) {}

Progress::~Progress() {
    clear();
}

void Progress::advance(std::uint64_t count) {
    done_ += count;
    if (!isShown_) return;
    const Clock::time_point now = Clock::now();
    if (now < nextShow_) return;
    nextShow_ = now + showInterval;
    std::cerr << "\rveltra-report: " << text() << "\x1b[K" << std::flush;
    isVisible_ = true;
}

void Progress::clear() {
    if (!isVisible_) return;
    std::cerr << "\r\x1b[K" << std::flush;
    isVisible_ = false;
}

std::string Progress::text() const {
    const std::string read = std::to_string(done_ / megabyte);
    if (total_ < done_) return read + " MB read";
    return std::to_string(done_ * 100 / total_) + "% of " + std::to_string(total_ / megabyte) +
           " MB read";
}

}  // namespace veltra
