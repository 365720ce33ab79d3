#include "record/LauncherSignals.h"

#include <sys/wait.h>

#include <initializer_list>

namespace veltra {

namespace {

// A terminal's signals come from the kernel and reach its whole foreground process group: the
// command has them already.
bool wasSentByProcess(const siginfo_t& signal) {
    return signal.si_code <= 0;
}

}  // namespace

LauncherSignals::LauncherSignals() {
    sigemptyset(&held_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD}) {
        sigaddset(&held_, signal);
    }
    sigset_t blocked = held_;
    sigaddset(&blocked, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &blocked, &originalMask_);

    // Were it ignored, the system would forget the command's exit status.
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &standard, &originalChildAction_);
}

void LauncherSignals::restoreOriginal() const noexcept {
    sigaction(SIGCHLD, &originalChildAction_, nullptr);
    pthread_sigmask(SIG_SETMASK, &originalMask_, nullptr);
}

int LauncherSignals::waitForEnd(pid_t command) const {
    for (;;) {
        siginfo_t info{};
        const int signal = sigwaitinfo(&held_, &info);
        int status = 0;
        if (signal == SIGCHLD) {
            if (::waitpid(command, &status, WNOHANG) == command) return status;
        } else if (signal > 0 && wasSentByProcess(info)) {
            ::kill(command, signal);
        }
    }
}

}  // namespace veltra
