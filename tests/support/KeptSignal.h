#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/SignalSets.h"

namespace veltra::testing {

// What the application may not see of a signal that a call of the agent's own raises. `provoke`
// makes such a call.

template <typename Provoke>
void expectNotRaised(const CountedSignal& signal, Provoke&& provoke) {
    const auto blocked = blockedSignals();
    provoke();
    EXPECT_EQ(signal.times(), 0);
    EXPECT_EQ(blockedSignals(), blocked);
    EXPECT_THAT(pendingSignals(), ::testing::ElementsAre());
}

// While the application blocks it, others among it.
template <typename Provoke>
void expectNotLeftPending(CountedSignal& signal, Provoke&& provoke) {
    block({signal.number(), SIGUSR1, SIGURG});
    expectNotRaised(signal, provoke);
    signal.restoreMask();
    EXPECT_EQ(signal.times(), 0);
}

// Of one that was pending before, sent by `send`.
template <typename Provoke>
void expectKeptPending(CountedSignal& signal, void (*send)(int signal), Provoke&& provoke) {
    block({signal.number(), SIGUSR2});
    send(signal.number());
    provoke();
    EXPECT_THAT(pendingSignals(), ::testing::ElementsAre(signal.number()));
    EXPECT_EQ(signal.times(), 0);
    signal.restoreMask();
    EXPECT_EQ(signal.times(), 1);
}

inline void sendToThread(int signal) {
    raise(signal);
}

inline void sendToProcess(int signal) {
    kill(getpid(), signal);
}

}  // namespace veltra::testing
