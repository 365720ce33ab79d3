#include "base/SignalBlock.h"

#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "base/realFunctions.h"

constinit thread_local int signalBlockDepth = 0;

namespace {

// What the outermost SignalBlock puts back.
constinit thread_local sigset_t applicationsMask{};

bool isPending(int signal) {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

// The system hands out a thread's own signal before one of the whole process, so what is taken is
// the thread's. Where none is left although one was pending before, that was the thread's too.
void takeBack(int signal, bool wasPending) {
    sigset_t taken;
    sigemptyset(&taken);
    sigaddset(&taken, signal);
    const timespec noWait = {0, 0};
    sigtimedwait(&taken, nullptr, &noWait);
    if (wasPending && !isPending(signal)) pthread_kill(pthread_self(), signal);
}

// Makes a system call that raises the signal when it fails with the error.
template <typename Call>
ssize_t withoutSignal(int signal, int error, Call call) {
    const SignalBlock signals;
    // One that the application does not block would have been handed out before.
    const bool wasPending = sigismember(&applicationsMask, signal) == 1 && isPending(signal);
    const ssize_t result = call();
    if (result == -1 && errno == error) {
        takeBack(signal, wasPending);
        errno = error;
    }
    return result;
}

}  // namespace

sigset_t blockSignals() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int raisedByInstruction :
         {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&blocked, raisedByInstruction);
    }
    sigset_t previous{};
    pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    return previous;
}

Cancellability disableCancellation() {
    Cancellability before{};
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before.state);
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &before.type);
    // One that is on its way all the same would strike in the agent's next system call. The C
    // library waits for it at the end of this one.
    if (before.type == PTHREAD_CANCEL_ASYNCHRONOUS) poll(nullptr, 0, 0);
    return before;
}

// The type last: a thread that ends in pthread_setcancelstate has no result that says so.
void restoreCancellation(const Cancellability& before) {
    pthread_setcancelstate(before.state, nullptr);
    pthread_setcanceltype(before.type, nullptr);
}

// A handler that comes before the block is in place still finds no lock held.
SignalBlock::SignalBlock() : cancellability_{} {
    if (signalBlockDepth == 0) {
        cancellability_ = disableCancellation();
        applicationsMask = blockSignals();
    }
    ++signalBlockDepth;
}

SignalBlock::~SignalBlock() {
    if (--signalBlockDepth != 0) return;
    pthread_sigmask(SIG_SETMASK, &applicationsMask, nullptr);
    restoreCancellation(cancellability_);
}

ssize_t SignalBlock::send(int fd, const void* bytes, std::size_t length) {
    return withoutSignal(SIGPIPE, EPIPE, [&] { return True_send(fd, bytes, length, 0); });
}

ssize_t SignalBlock::write(int fd, const void* bytes, std::size_t length) {
    return withoutSignal(SIGXFSZ, EFBIG, [&] { return syscall(SYS_write, fd, bytes, length); });
}
