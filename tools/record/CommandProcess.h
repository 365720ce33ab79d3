#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "record/LauncherSignals.h"
#include "recorder/FileDescriptor.h"

namespace veltra {

// A process that is to become the command. Until it is told to, it waits, and it ends if it never
// is.
class CommandProcess {
public:
    // Makes the process. It will run the program with the given arguments (the first is its name)
    // and environment, and with the launcher's standard streams and original signal handling.
    // Throws std::system_error when the system refuses.
    CommandProcess(std::string program, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment, const LauncherSignals& signals);
    CommandProcess(const CommandProcess&) = delete;
    CommandProcess& operator=(const CommandProcess&) = delete;
    ~CommandProcess();

    pid_t id() const noexcept { return id_; }

    // Makes it the command. Throws Failure when the system does not run the program.
    void run();

private:
    std::string program_;
    FileDescriptor start_;   // closed without a byte: the process is not to run
    FileDescriptor errors_;  // closed without an error code: the program runs
    pid_t id_;
    bool isRunning_ = false;
};

// The exit status that a shell reports for a wait status: the program's own, or 128 and the number
// of the signal that ended it.
int shellExitStatus(int waitStatus);

}  // namespace veltra
