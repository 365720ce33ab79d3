#include "record/CommandProcess.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "record/Failure.h"
#include "recorder/SystemCall.h"

namespace veltra {

namespace {

// The array of pointers that exec wants; valid as long as `texts` is.
std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        checked(::pipe2(ends.data(), O_CLOEXEC), "cannot create a pipe");
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
    }

    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

ssize_t readAgainIfInterrupted(int descriptor, void* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

// Runs in the new process, a copy of one that has another thread: nothing here may allocate or
// lock.
[[noreturn]] void becomeProgram(const char* program, char* const* arguments,
                                char* const* environment, const LauncherSignals& signals, int start,
                                int errors) noexcept {
    char go = 0;
    if (readAgainIfInterrupted(start, &go, sizeof go) != sizeof go) ::_exit(0);
    signals.restoreOriginal();
    ::execve(program, arguments, environment);
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(errors, &error, sizeof error);
    ::_exit(exitStatusCannotExecute);
}

[[noreturn]] void failToExecute(const std::string& program, int error) {
    // The program was found, so what does not exist is the interpreter that its first line names.
    const std::string reason = error == ENOENT ? "the interpreter that it asks for does not exist"
                                               : std::generic_category().message(error);
    throw Failure(exitStatusCannotExecute, "cannot execute " + program + ": " + reason);
}

}  // namespace

CommandProcess::CommandProcess(std::string program, const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment,
                               const LauncherSignals& signals)
    : program_(std::move(program)) {
    const std::vector<char*> argumentPointers = pointersTo(arguments);
    const std::vector<char*> environmentPointers = pointersTo(environment);
    Pipe start;
    Pipe errors;
    id_ = checked(::fork(), "cannot create a process");
    if (id_ == 0) {
        start.writeEnd.close();
        becomeProgram(program_.c_str(), argumentPointers.data(), environmentPointers.data(),
                      signals, start.readEnd.number(), errors.writeEnd.number());
    }
    start_ = std::move(start.writeEnd);
    errors_ = std::move(errors.readEnd);
}

CommandProcess::~CommandProcess() {
    if (isRunning_) return;
    start_.close();
    ::waitpid(id_, nullptr, 0);
}

void CommandProcess::run() {
    const char go = 1;
    checked(::write(start_.number(), &go, sizeof go) == sizeof go ? 0 : -1,
            "cannot start the command");
    start_.close();
    int error = 0;
    if (readAgainIfInterrupted(errors_.number(), &error, sizeof error) == sizeof error) {
        failToExecute(program_, error);
    }
    isRunning_ = true;
}

int shellExitStatus(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

}  // namespace veltra
