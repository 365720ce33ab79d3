#include "record/LauncherSignals.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>
#include <memory>
#include <thread>
#include <utility>

namespace veltra {

namespace {

constexpr std::chrono::milliseconds stuckCheckInterval{100};

bool asksToEnd(int signal) {
    return signal == SIGINT || signal == SIGTERM || signal == SIGHUP || signal == SIGQUIT;
}

}  // namespace

LauncherSignals::LauncherSignals(std::span<char* const> arguments) : arguments_(arguments) {
    sigemptyset(&held_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGCHLD}) {
        sigaddset(&held_, signal);
    }
    pthread_sigmask(SIG_BLOCK, nullptr, &originalMask_);

    // Were it ignored, the system would forget the command's exit status.
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &standard, &originalChildAction_);
}

void LauncherSignals::restoreOriginal() const noexcept {
    sigaction(SIGCHLD, &originalChildAction_, nullptr);
    pthread_sigmask(SIG_SETMASK, &originalMask_, nullptr);
}

void LauncherSignals::hold() {
    sigset_t blocked = held_;
    for (const int writeError : {SIGPIPE, SIGXFSZ}) {
        sigaddset(&blocked, writeError);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    witness_.emplace(arguments_);
}

void LauncherSignals::release() const noexcept {
    pthread_sigmask(SIG_SETMASK, &originalMask_, nullptr);
}

int LauncherSignals::waitForEnd(pid_t command) {
    for (;;) {
        const auto signal = nextSignal(std::nullopt);
        int status = 0;
        if (signal == SIGCHLD) {
            if (::waitpid(command, &status, WNOHANG) == command) return status;
        } else if (signal) {
            passOn(*signal, command);
        }
    }
}

bool LauncherSignals::finish(std::function<void()> work, const std::function<bool()>& isStuck) {
    const auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread worker([work = std::move(work), done, waiting = pthread_self()] {
        work();
        *done = true;
        pthread_kill(waiting, SIGCHLD);
    });
    while (!*done) {
        const auto signal =
            nextSignal(askedToEnd_ ? std::optional(stuckCheckInterval) : std::nullopt);
        if (signal && asksToEnd(*signal)) askedToEnd_ = true;
        if (askedToEnd_ && isStuck()) {
            worker.detach();
            return false;
        }
    }
    worker.join();
    return true;
}

void LauncherSignals::passOn(int signal, pid_t command) {
    askedToEnd_ = askedToEnd_ || asksToEnd(signal);
    const bool sentToGroup = witness_->received(signal);
    if (sentToGroup) {
        // One more that came meanwhile is the same to the witness, as it is to the command.
        sigset_t same;
        sigemptyset(&same);
        sigaddset(&same, signal);
        const timespec noTime{};
        sigtimedwait(&same, nullptr, &noTime);
    }
    const bool commandHasIt = sentToGroup && ::getpgid(command) == ::getpgrp();
    if (!commandHasIt) ::kill(command, signal);
}

std::optional<int> LauncherSignals::nextSignal(
    std::optional<std::chrono::milliseconds> patience) const {
    int signal = 0;
    if (patience) {
        const timespec limit{0, std::chrono::nanoseconds(*patience).count()};
        signal = sigtimedwait(&held_, nullptr, &limit);
    } else {
        signal = sigwaitinfo(&held_, nullptr);
    }
    return signal > 0 ? std::optional(signal) : std::nullopt;
}

}  // namespace veltra
