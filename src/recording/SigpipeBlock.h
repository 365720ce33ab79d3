#pragma once

#include <csignal>

// Keeps the agent's own sends from raising SIGPIPE in the application: blocks the signal for this
// thread, takes back one that arose meanwhile, and leaves mask and pending signals as they were.
// Does not change errno.
class SigpipeBlock {
public:
    SigpipeBlock();
    ~SigpipeBlock();
    SigpipeBlock(const SigpipeBlock&) = delete;
    SigpipeBlock& operator=(const SigpipeBlock&) = delete;

    // To be called after a send that failed with `error`, while the signal is still blocked.
    void takeBackAfter(int error) const;

private:
    sigset_t mask_;
    bool wasPending_;
};
