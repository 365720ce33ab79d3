#include "entry/forkHandlers.h"

#include <array>
#include <new>

#include "base/CriticalSection.h"
#include "base/agentMemory.h"
#include "base/memoryOwner.h"
#include "base/utils.h"
#include "entry/sockentry.h"
#include "recording/AgentInterface.h"
#include "registry/ClientServer.h"
#include "registry/registryState.h"
#include "socks/Socks.h"

// What pthread_atfork calls. That one is linked into its caller, and names the library it is in by
// an object that this one does not have.
extern "C" int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(),
                                 void* library) noexcept;

namespace {

// So long, in seconds, a fork waits for a lock; then the child makes it anew all the same.
constexpr int longestWait = 1;

constexpr std::size_t lockCount = 7;
using Locks = std::array<CriticalSection*, lockCount>;

// In the order in which they are taken; null for those that do not exist yet.
Locks allLocks() {
    AgentInterface* const recorder = getAgentInterface();
    const auto recorderLocks =
        recorder != nullptr ? recorder->locks() : std::array<CriticalSection*, 2>{};
    return {recorderLocks[0],
            recorderLocks[1],
            &criticalSectionSocks,
            &criticalSectionSocketInfoList,
            &criticalSectionSocketInfoData,
            &criticalSectionLog,
            &criticalSectionMemory};
}

// Of the thread that forks, from before its fork to after it.
struct ForkingThread {
    alignas(SignalBlock) unsigned char signals[sizeof(SignalBlock)];
    Locks held;
};
constinit thread_local ForkingThread forkingThread{};

void beforeFork() {
    waitForOtherThreadsStartUp();
    forkingThread.held = {};
    const bool isInsideAgent = signalBlockDepth != 0;
    new (forkingThread.signals) SignalBlock;
    if (isInsideAgent) return;
    const Locks locks = allLocks();
    for (std::size_t i = 0; i < lockCount; ++i) {
        if (locks[i] != nullptr && StartCriticalSectionUntil(locks[i], deadlineIn(longestWait))) {
            forkingThread.held[i] = locks[i];
        }
    }
}

void afterFork() {
    std::launder(reinterpret_cast<SignalBlock*>(forkingThread.signals))->~SignalBlock();
}

void afterForkInParent() {
    for (std::size_t i = lockCount; i-- != 0;) {
        if (forkingThread.held[i] != nullptr) EndCriticalSectionBase(forkingThread.held[i]);
    }
    afterFork();
}

// The threads that held what the forking one did not get do not exist here.
void afterForkInChild() {
    renewLocks();
    claimMemory();
    dropUnwrittenLines();
    endOtherThreadsConnects();
    AgentInterface* const recorder = getAgentInterface();
    if (recorder != nullptr) recorder->closeInheritedConnection();
    afterFork();
}

}  // namespace

void renewLocks() {
    for (CriticalSection* const lock : allLocks()) {
        if (lock != nullptr) AllocCriticalSectionBase(lock);
    }
}

void registerForkHandlers() {
    __register_atfork(&beforeFork, &afterForkInParent, &afterForkInChild, nullptr);
}
