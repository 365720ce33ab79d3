#include "base/SignalBlock.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>

#include "base/realFunctions.h"

namespace {

sigset_t blockedSignals() {
    sigset_t set;
    sigfillset(&set);
    for (const int raisedByInstruction :
         {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&set, raisedByInstruction);
    }
    return set;
}

bool isSigpipePending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

// A SIGPIPE can be pending beforehand only if the application blocks it.
SignalBlock::SignalBlock() : mask_{}, wasSigpipePending_(false), cancelState_(0) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState_);
    const sigset_t blocked = blockedSignals();
    pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
    if (sigismember(&mask_, SIGPIPE) == 1) wasSigpipePending_ = isSigpipePending();
}

SignalBlock::~SignalBlock() {
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    pthread_setcancelstate(cancelState_, nullptr);
}

ssize_t SignalBlock::send(int fd, const void* bytes, std::size_t length) const {
    const ssize_t result = True_send(fd, bytes, length, 0);
    if (result == -1 && errno == EPIPE) {
        takeSigpipeBack();
        errno = EPIPE;
    }
    return result;
}

// The system hands out a thread's own signal before one of the whole process, so what is taken is
// the thread's. Where none is left although one was pending before, that was the thread's too.
void SignalBlock::takeSigpipeBack() const {
    sigset_t sigpipe;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    const timespec noWait = {0, 0};
    sigtimedwait(&sigpipe, nullptr, &noWait);
    if (wasSigpipePending_ && !isSigpipePending()) pthread_kill(pthread_self(), SIGPIPE);
}
