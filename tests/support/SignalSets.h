#pragma once

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <initializer_list>
#include <vector>

namespace veltra::testing {

// The numbers of the signals in a set, ascending.
inline std::vector<int> signalsIn(const sigset_t& set) {
    std::vector<int> signals;
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        if (sigismember(&set, signal) == 1) signals.push_back(signal);
    }
    return signals;
}

// Those that this thread blocks.
inline std::vector<int> blockedSignals() {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return signalsIn(mask);
}

// Those that are pending for this thread or for the whole process.
inline std::vector<int> pendingSignals() {
    sigset_t pending;
    sigpending(&pending);
    return signalsIn(pending);
}

// Blocks more signals in this thread.
inline void block(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

// Counts a signal instead of dying of it, while it lives; afterwards action and mask are as before.
class CountedSignal {
public:
    explicit CountedSignal(int signal) : signal_(signal) {
        raised_ = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { raised_ = raised_ + 1; };
        sigaction(signal, &action, &actionBefore_);
        pthread_sigmask(SIG_BLOCK, nullptr, &maskBefore_);
    }
    ~CountedSignal() {
        restoreMask();
        sigaction(signal_, &actionBefore_, nullptr);
    }
    CountedSignal(const CountedSignal&) = delete;
    CountedSignal& operator=(const CountedSignal&) = delete;

    void restoreMask() { pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr); }
    int number() const { return signal_; }
    int times() const { return raised_; }

private:
    static inline volatile sig_atomic_t raised_ = 0;
    int signal_;
    struct sigaction actionBefore_;
    sigset_t maskBefore_;
};

}  // namespace veltra::testing
