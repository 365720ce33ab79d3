#pragma once

#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <span>

#include "record/GroupWitness.h"

namespace veltra {

// The launcher's signals while a command runs. From hold() on those that would end the launcher
// wait in the queue instead, to be passed on to the command, and a broken pipe is an error code and
// no signal.
//
// Signals are held back by the mask alone. Their dispositions stay as the launcher found them, so
// that the command inherits them without being told; only SIGCHLD has to be put back.
class LauncherSignals {
public:
    // `arguments` are the launcher's own; they must outlive the object.
    explicit LauncherSignals(std::span<char* const> arguments);
    LauncherSignals(const LauncherSignals&) = delete;
    LauncherSignals& operator=(const LauncherSignals&) = delete;

    // Puts mask and dispositions back to what the launcher was started with. For the new process
    // between fork and exec: safe there.
    void restoreOriginal() const noexcept;

    // From now on signals wait, in this thread and in those that it starts. Throws
    // std::system_error when the system refuses a process.
    void hold();

    // Undoes hold(): signals that have been waiting have their effect now.
    void release() const noexcept;

    // Waits for the end of the child `command` and returns its wait status. Meanwhile passes on to
    // it the signals which somebody sent to the launcher and not to it.
    int waitForEnd(pid_t command);

    // Does the work on a thread of its own and waits for its end. Once somebody has asked the
    // launcher to end, be it before, `isStuck` is asked from time to time, and if it says so the
    // wait is over. Returns whether the work is done: if not, only ending the process stops it.
    bool finish(std::function<void()> work, const std::function<bool()>& isStuck);

private:
    void passOn(int signal, pid_t command);
    std::optional<int> nextSignal(std::optional<std::chrono::milliseconds> patience) const;

    const std::span<char* const> arguments_;
    sigset_t held_{};
    sigset_t originalMask_{};
    struct sigaction originalChildAction_ {};
    std::optional<GroupWitness> witness_;
    bool askedToEnd_ = false;
};

}  // namespace veltra
