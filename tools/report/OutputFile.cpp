#include "report/OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace veltra {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10U;

}  // namespace

OutputFile::OutputFile(const std::optional<std::string>& path)
    : output_(STDOUT_FILENO), name_(path.value_or("standard output")) {
    if (!path) return;
    file_ = FileDescriptor(::open(path->c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file_.isOpen()) fail(errno);
    output_ = file_.number();
}

void OutputFile::write(std::string_view bytes) {
    buffer_ += bytes;
    if (buffer_.size() >= bufferSize) flush();
}

void OutputFile::finish() {
    flush();
    if (const int error = file_.close(); error != 0) fail(error);
}

bool OutputFile::isTerminal() const {
    return ::isatty(output_) == 1;
}

void OutputFile::flush() {
    std::string_view left = buffer_;
    while (!left.empty()) {
        const ssize_t count = ::write(output_, left.data(), left.size());
        if (count >= 0) {
            left.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            // Standard output may be a non-blocking descriptor that is shared with others.
            pollfd descriptor{output_, POLLOUT, 0};
            ::poll(&descriptor, 1, -1);
        } else if (errno != EINTR) {
            fail(errno);
        }
    }
    buffer_.clear();
}

void OutputFile::fail(int error) const {
    throw std::runtime_error("cannot write to " + name_ + ": " +
                             std::generic_category().message(error));
}

}  // namespace veltra
