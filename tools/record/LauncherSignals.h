#pragma once

#include <signal.h>
#include <sys/types.h>

namespace veltra {

// The launcher's signals while a command runs: those that would end the launcher wait in the queue
// instead, to be passed on to the command, and a broken pipe is an error code and no signal.
//
// Signals are held back by the mask alone. Their dispositions stay as the launcher found them, so
// that the command inherits them without being told; only SIGCHLD has to be put back.
class LauncherSignals {
public:
    // From now on signals wait. To be made before any other thread is started.
    LauncherSignals();
    LauncherSignals(const LauncherSignals&) = delete;
    LauncherSignals& operator=(const LauncherSignals&) = delete;

    // Puts mask and dispositions back to what the launcher was started with. For the new process
    // between fork and exec: safe there.
    void restoreOriginal() const noexcept;

    // Waits for the end of the child `command` and returns its wait status. Meanwhile passes on to
    // it the signals which somebody sent to the launcher.
    int waitForEnd(pid_t command) const;

private:
    sigset_t held_{};
    sigset_t originalMask_{};
    struct sigaction originalChildAction_ {};
};

}  // namespace veltra
