#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "base/SignalBlock.h"
#include "base/memoryOwner.h"
#include "base/utils.h"
#include "entry/crashHandler.h"
#include "entry/forkHandlers.h"
#include "entry/sockentry.h"
#include "hooks/HookSocket.h"
#include "recording/escaping.h"
#include "socks/Socks.h"

constinit std::atomic<int> globalInit{0};
constinit std::atomic<bool> startUpPending{true};

namespace {

// The process that begins or has begun start-up.
constinit std::atomic<pid_t> globalInitDone{0};
constinit std::atomic<pthread_t> startingThread{};

// 1 when start-up is over: a word that waiting threads sleep on.
constinit std::atomic<int> startUpOver{0};

// How long a thread waits for another's start-up, so that it can never hang for good: the starting
// thread may itself be waiting for the loader's lock that the waiting one holds.
constexpr long longestWaitSeconds = 5;

// Set for a thread that has waited in vain, and will not wait again at its next call.
constinit thread_local bool gaveUpWaiting = false;

long futex(int operation, int value, const timespec* timeout) {
    return syscall(SYS_futex, &startUpOver, operation, value, timeout, nullptr,
                   FUTEX_BITSET_MATCH_ANY);
}

void announceStartUpOver() {
    startUpOver.store(1, std::memory_order_release);
    startUpPending.store(false, std::memory_order_release);
    futex(FUTEX_WAKE_PRIVATE, INT_MAX, nullptr);
}

bool isStartingThread() {
    return pthread_equal(startingThread.load(std::memory_order_relaxed), pthread_self()) != 0;
}

// A call from inside start-up passes through at once.
void waitForStartUp() {
    if (isStartingThread() || gaveUpWaiting) return;
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += longestWaitSeconds;
    while (startUpOver.load(std::memory_order_acquire) == 0) {
        if (futex(FUTEX_WAIT_BITSET_PRIVATE, 0, &deadline) == -1 && errno == ETIMEDOUT) {
            gaveUpWaiting = true;
            return;
        }
    }
}

void resolveHookedFunctions() {
    Initsocket();
    Initconnect();
    Initgetaddrinfo();
    Initgetsockname();
    Initbind();
    Initgetpeername();
    Initsend();
    Initrecv();
    Initsendto();
    Initrecvfrom();
    Initrecvmsg();
    Initsendmsg();
    Initsetsockopt();
    Initgetsockopt();
    Initlisten();
    Initaccept();
}

void installCrashHandler() {
    if (getenv("VELTRA_SOCKET_AGENT_DEBUG_TRACEBACK") == nullptr) return;
    struct sigaction previous;
    active_handler(&previous);
}

// Everything but the resolver, which may take its time.
void startUpBeforeResolver() {
    registerForkHandlers();
    claimMemory();
    chooseEscaping();
    installCrashHandler();
    resolveHookedFunctions();
    initializeSocketPointers();
    initializeCriticalSections();
    getDebugLvl();
    set_default_debug_display("sock");
    globalInit.store(1, std::memory_order_release);
    initializeSocksParam();
    InitializeSocks();
    initializeDebugServer();
}

// True for the one caller that starts the agent. Where the process was forked while a thread was
// starting that does not exist here, it is the first to call.
bool claimStartUp() {
    const pid_t process = getpid();
    pid_t starting = 0;
    if (globalInitDone.compare_exchange_strong(starting, process, std::memory_order_acq_rel)) {
        return true;
    }
    const bool isInterrupted = starting != process &&
                               startUpOver.load(std::memory_order_acquire) == 0 &&
                               !isStartingThread() && !isMemoryBorrowed();
    if (!isInterrupted ||
        !globalInitDone.compare_exchange_strong(starting, process, std::memory_order_acq_rel)) {
        return false;
    }
    renewLocks();
    forgetInterruptedSecondStage();
    return true;
}

}  // namespace

void GlobalInit() {
    const int savedErrno = errno;
    // A handler would find the locks of the allocator or the loader held by its own thread, and a
    // thread that was cancelled in here would leave the others waiting.
    const Cancellability cancellability = disableCancellation();
    const sigset_t signals = blockSignals();
    const bool isFirst = claimStartUp();
    if (isFirst) {
        startingThread.store(pthread_self(), std::memory_order_relaxed);
        startUpBeforeResolver();
    }
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    if (isFirst) {
        initializeStartup();
        announceStartUpOver();
    } else if (startUpOver.load(std::memory_order_acquire) == 0) {
        waitForStartUp();
    }
    errno = savedErrno;
    restoreCancellation(cancellability);
}

void prepareCall() {
    // Start-up is over for whoever set the flag from outside; a second thread comes here to wait.
    if (globalInit.load(std::memory_order_acquire) == 0 ||
        globalInitDone.load(std::memory_order_acquire) != 0) {
        GlobalInit();
    }
}

void waitForOtherThreadsStartUp() {
    if (globalInitDone.load(std::memory_order_acquire) != 0 &&
        startUpOver.load(std::memory_order_acquire) == 0) {
        waitForStartUp();
    }
}
