#pragma once

#include <stdexcept>
#include <string>

namespace veltra {

// The exit statuses of the launcher's own failures; the last two are those of a shell.
enum ExitStatus : int {
    exitStatusFailure = 1,
    exitStatusCannotExecute = 126,
    exitStatusNotFound = 127,
};

// Why the launcher gives up, in words for its user, and the exit status to end with.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& reason)
        : std::runtime_error(reason), exitStatus_(exitStatus) {}

    ExitStatus exitStatus() const noexcept { return exitStatus_; }

private:
    ExitStatus exitStatus_;
};

}  // namespace veltra
