#include "record/CommandProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "record/Failure.h"
#include "recorder/FileDescriptor.h"
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

// Carries the error code out of a process that could not exec. Closes by itself when it could.
struct ErrorPipe {
    ErrorPipe() {
        std::array<int, 2> ends{};
        checked(::pipe2(ends.data(), O_CLOEXEC), "cannot create a pipe");
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
    }

    // The error code, or 0 if there was none.
    int result() {
        writeEnd.close();
        int error = 0;
        ssize_t count = 0;
        do {
            count = ::read(readEnd.number(), &error, sizeof error);
        } while (count < 0 && errno == EINTR);
        return count == sizeof error ? error : 0;
    }

    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

// Runs in the new process, a copy of one that has another thread: nothing here may allocate or
// lock.
[[noreturn]] void becomeProgram(const char* program, char* const* arguments,
                                char* const* environment, const LauncherSignals& signals,
                                int errorPipe) noexcept {
    signals.restoreOriginal();
    ::execve(program, arguments, environment);
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(errorPipe, &error, sizeof error);
    ::_exit(exitStatusCannotExecute);
}

[[noreturn]] void failToExecute(const std::string& program, int error) {
    // The program was found, so what does not exist is the interpreter that its first line names.
    const std::string reason = error == ENOENT ? "the interpreter that it asks for does not exist"
                                               : std::generic_category().message(error);
    throw Failure(exitStatusCannotExecute, "cannot execute " + program + ": " + reason);
}

}  // namespace

pid_t startCommand(const std::string& program, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment, const LauncherSignals& signals) {
    const std::vector<char*> argumentPointers = pointersTo(arguments);
    const std::vector<char*> environmentPointers = pointersTo(environment);
    ErrorPipe errorPipe;
    const pid_t process = checked(::fork(), "cannot create a process");
    if (process == 0) {
        becomeProgram(program.c_str(), argumentPointers.data(), environmentPointers.data(), signals,
                      errorPipe.writeEnd.number());
    }
    const int error = errorPipe.result();
    if (error == 0) return process;
    ::waitpid(process, nullptr, 0);
    failToExecute(program, error);
}

int shellExitStatus(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

}  // namespace veltra
