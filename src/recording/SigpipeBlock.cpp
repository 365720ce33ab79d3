#include "recording/SigpipeBlock.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>

namespace {

sigset_t onlySigpipe() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool isSigpipePending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

// A signal can be pending beforehand only if the application blocks it.
SigpipeBlock::SigpipeBlock() : mask_{}, wasPending_(false) {
    const sigset_t sigpipe = onlySigpipe();
    pthread_sigmask(SIG_BLOCK, &sigpipe, &mask_);
    if (sigismember(&mask_, SIGPIPE) == 1) wasPending_ = isSigpipePending();
}

SigpipeBlock::~SigpipeBlock() {
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
}

void SigpipeBlock::takeBackAfter(int error) const {
    if (error != EPIPE || wasPending_) return;
    const int saved = errno;
    const sigset_t sigpipe = onlySigpipe();
    const timespec noWait = {0, 0};
    while (sigtimedwait(&sigpipe, nullptr, &noWait) == -1 && errno == EINTR) {
    }
    errno = saved;
}
