#include "report/RecordingFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "recorder/FileDescriptor.h"

namespace veltra {

namespace {

constexpr std::size_t pieceSize = std::size_t{1} << 20U;

// Both ask the system about a file and return whether it could tell.
bool describe(const std::string& recording, struct stat& status) {
    return (recording == standardInputName ? ::fstat(STDIN_FILENO, &status)
                                           : ::stat(recording.c_str(), &status)) == 0;
}
bool describeOutput(const std::optional<std::string>& output, struct stat& status) {
    return (output ? ::stat(output->c_str(), &status) : ::fstat(STDOUT_FILENO, &status)) == 0;
}

[[noreturn]] void failToRead(const std::string& recording, int error) {
    throw std::system_error(error, std::generic_category(), "cannot read " + shownName(recording));
}

}  // namespace

std::string shownName(const std::string& recording) {
    return recording == standardInputName ? "standard input" : recording;
}

std::uint64_t totalSize(const std::vector<std::string>& recordings) {
    std::uint64_t total = 0;
    for (const std::string& recording : recordings) {
        struct stat status {};
        if (!describe(recording, status) || !S_ISREG(status.st_mode)) return 0;
        total += static_cast<std::uint64_t>(status.st_size);
    }
    return total;
}

bool isOneOf(const std::vector<std::string>& recordings, const std::optional<std::string>& output) {
    struct stat written {};
    if (!describeOutput(output, written) || !S_ISREG(written.st_mode)) return false;
    return std::ranges::any_of(recordings, [&](const std::string& recording) {
        struct stat input {};
        return describe(recording, input) && input.st_dev == written.st_dev &&
               input.st_ino == written.st_ino;
    });
}

void readRecording(const std::string& recording,
                   const std::function<void(std::string_view)>& onBytes) {
    FileDescriptor file;
    int input = STDIN_FILENO;
    if (recording != standardInputName) {
        file = FileDescriptor(::open(recording.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file.isOpen()) failToRead(recording, errno);
        input = file.number();
    }
    std::string piece(pieceSize, '\0');
    for (;;) {
        const ssize_t count = ::read(input, piece.data(), piece.size());
        if (count == 0) return;
        if (count > 0) {
            onBytes({piece.data(), static_cast<std::size_t>(count)});
        } else if (errno != EINTR) {
            failToRead(recording, errno);
        }
    }
}

}  // namespace veltra
