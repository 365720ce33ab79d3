#include "base/logStream.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/SignalBlock.h"
#include "base/heapObject.h"
#include "base/ownDescriptors.h"

namespace {

constexpr int closed = -1;

// What is behind a stream. It lives as long as the process, like the stream.
class LogDescriptor {
public:
    LogDescriptor(int fd, const char* fileName) : identity_(fileIdentity(fd)) {
        if (std::strlen(fileName) < sizeof(fileName_)) std::strcpy(fileName_, fileName);
        adopt(fd);
    }

    char* buffer() { return buffer_; }

    // What cannot be written is given up, so that the stream stays usable.
    void write(const char* bytes, std::size_t count) {
        while (count != 0 && isOpen()) {
            const ssize_t written = SignalBlock::write(fd_, bytes, count);
            if (written == -1 && errno == EINTR) continue;
            if (written <= 0) return;
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }

private:
    void adopt(int fd) {
        fd_ = moveDescriptorAside(fd);
        rememberOwnDescriptor(fd_, identity_);
    }

    bool isOpen() {
        if (fd_ != closed && fileIdentity(fd_) != identity_) reopen();
        return fd_ != closed;
    }

    // The application has taken the descriptor away. The log goes on where it was, if its name
    // still leads there.
    void reopen() {
        forgetOwnDescriptor(fd_);
        fd_ = closed;
        const int fd = open(fileName_, O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        if (fd == -1) return;
        if (fileIdentity(fd) == identity_) return adopt(fd);
        syscall(SYS_close, fd);
    }

    FileIdentity identity_;
    int fd_ = closed;
    char fileName_[2048] = {};  // empty when it is too long to be opened again
    char buffer_[logBufferSize] = {};
};

ssize_t writeToLog(void* log, const char* bytes, std::size_t count) {
    static_cast<LogDescriptor*>(log)->write(bytes, count);
    return static_cast<ssize_t>(count);
}

}  // namespace

std::FILE* openLogStream(const char* fileName) {
    const int fd = open(fileName, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd == -1) return nullptr;
    auto* const log = makeOnHeap<LogDescriptor>(fd, fileName);
    if (log == nullptr) {
        syscall(SYS_close, fd);
        return nullptr;
    }
    cookie_io_functions_t functions{};
    functions.write = &writeToLog;
    std::FILE* const stream = fopencookie(log, "w", functions);
    if (stream != nullptr) std::setvbuf(stream, log->buffer(), _IOFBF, logBufferSize);
    return stream;
}

void writeLogLine(std::FILE* stream, const char* line, std::size_t length) {
    if (__fpending(stream) + length > logBufferSize) std::fflush(stream);
    std::fwrite(line, 1, length, stream);
}
