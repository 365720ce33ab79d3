#include "record/Output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace veltra {

namespace {

// As much as a slow disk takes at once without looking as if nobody took anything.
constexpr std::size_t largestPiece = 64U << 10U;

// A standard stream may be a non-blocking descriptor that is shared with other programs.
void waitUntilWritable(int output) {
    pollfd descriptor{output, POLLOUT, 0};
    ::poll(&descriptor, 1, -1);
}

}  // namespace

int Output::write(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = writeSome(text.substr(0, largestPiece));
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

ssize_t Output::writeSome(std::string_view text) noexcept {
    writingSince_ = Clock::now();
    ssize_t count = 0;
    while ((count = ::write(descriptor_, text.data(), text.size())) < 0 && errno == EAGAIN) {
        waitUntilWritable(descriptor_);
    }
    writingSince_ = Clock::time_point::max();
    return count;
}

std::chrono::milliseconds Output::waiting() const noexcept {
    const Clock::time_point since = writingSince_;
    if (since == Clock::time_point::max()) return std::chrono::milliseconds::zero();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since);
}

}  // namespace veltra
