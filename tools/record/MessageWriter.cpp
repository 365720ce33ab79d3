#include "record/MessageWriter.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "record/Failure.h"

namespace veltra {

namespace {

FileDescriptor openRecording(const std::string& path) {
    const int number = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (number < 0) {
        throw Failure(exitStatusFailure,
                      "cannot write to " + path + ": " + std::generic_category().message(errno));
    }
    return FileDescriptor(number);
}

// Standard error may be a non-blocking descriptor that is shared with other programs.
void waitUntilWritable(int output) {
    pollfd descriptor{output, POLLOUT, 0};
    ::poll(&descriptor, 1, -1);
}

// Writes all of it and returns 0, or the error code that prevented it.
int writeAll(int output, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(output, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            waitUntilWritable(output);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

MessageWriter::MessageWriter(const std::optional<std::string>& file)
    : file_(file ? openRecording(*file) : FileDescriptor()),
      output_(file ? file_.number() : STDERR_FILENO),
      name_(file.value_or("standard error")) {}

void MessageWriter::write(std::string_view message) {
    if (error_ != 0) return;
    if (message.ends_with('\n')) {
        error_ = writeAll(output_, message);
    } else {
        // In one piece, or the command's own output to the same place could come between.
        error_ = writeAll(output_, std::string(message).append("\n"));
    }
}

std::optional<std::string> MessageWriter::finish() {
    const int closeError = file_.close();
    if (error_ == 0) error_ = closeError;
    if (error_ == 0) return std::nullopt;
    return "cannot write the whole recording to " + name_ + ": " +
           std::generic_category().message(error_);
}

}  // namespace veltra
