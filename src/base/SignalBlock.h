#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstddef>

// Blocks all signals but those that an instruction raises, for this thread. Returns the mask to put
// back with pthread_sigmask.
sigset_t blockSignals();

// A thread's cancellation as it was.
struct Cancellability {
    int state;
    int type;
};

// Keep this thread from being cancelled, and let it be cancelled as before: one that was cancelled
// in between then ends here if its type is asynchronous, and at its next cancellation point if not.
Cancellability disableCancellation();
void restoreCancellation(const Cancellability& before);

// How many SignalBlocks this thread is inside. An entry point that is reached meanwhile (by the
// handler of a signal that an instruction raised, by an allocator, at a fork) goes straight to the
// real function: the thread may hold any of the agent's locks.
extern constinit thread_local int signalBlockDepth;

// Keeps signals and cancellation from this thread while the agent works on its own account: a
// handler would find the agent's locks held, an interrupted call would lose a message, and a thread
// that ended here would take the locks with it. What arises meanwhile comes afterwards. Signals
// that an instruction raises are left alone. Inside another one it costs nothing.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

    // The real send, without flags. One that finds its connection broken raises no SIGPIPE in the
    // application: the signal is taken back, unless one was pending before. Returns what send
    // returns, with errno.
    static ssize_t send(int fd, const void* bytes, std::size_t length);

    // The real write, to a file, past the entry points. One that finds the file as large as the
    // process may make it raises no SIGXFSZ, in the same way. Returns what write returns, with
    // errno.
    static ssize_t write(int fd, const void* bytes, std::size_t length);

private:
    Cancellability cancellability_;
};
