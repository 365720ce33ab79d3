#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstddef>

// Keeps signals and cancellation from this thread while the agent works on its own account: a
// handler would find the agent's locks held, an interrupted call would lose a message, and a thread
// that ended here would take the locks with it. What arises meanwhile comes afterwards. Signals
// that an instruction raises are left alone.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

    // The real send, without flags. One that finds its connection broken raises no SIGPIPE in the
    // application: the signal is taken back, unless one was pending before. Returns what send
    // returns, with errno.
    ssize_t send(int fd, const void* bytes, std::size_t length) const;

private:
    void takeSigpipeBack() const;

    sigset_t mask_;
    bool wasSigpipePending_;
    int cancelState_;
};
