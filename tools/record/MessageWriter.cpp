#include "record/MessageWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "record/Failure.h"

namespace veltra {

namespace {

constexpr const char* standardOutput = "-";

FileDescriptor openRecording(const std::optional<std::string>& path) {
    if (!path || path == standardOutput) return {};
    const int number = ::open(path->c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (number < 0) {
        throw Failure(exitStatusFailure,
                      "cannot write to " + *path + ": " + std::generic_category().message(errno));
    }
    return FileDescriptor(number);
}

}  // namespace

MessageWriter::MessageWriter(const std::optional<std::string>& file)
    : file_(openRecording(file)),
      output_(file_.isOpen() ? file_.number() : (file ? STDOUT_FILENO : STDERR_FILENO)),
      name_(file.value_or("standard error")) {
    if (file == standardOutput) name_ = "standard output";
}

void MessageWriter::write(std::string_view text) {
    if (error_ != 0) return;
    if (text.ends_with('\n')) {
        error_ = output_.write(text);
    } else {
        // In one piece, or the command's own output to the same place could come between.
        error_ = output_.write(std::string(text).append("\n"));
    }
}

std::optional<std::string> MessageWriter::finish() {
    const int closeError = file_.close();
    if (error_ == 0) error_ = closeError;
    if (error_ == 0) return std::nullopt;
    return "cannot write the whole recording to " + name_ + ": " +
           std::generic_category().message(error_);
}

bool MessageWriter::isOnDisk() const {
    struct stat status {};
    return ::fstat(output_.descriptor(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace veltra
