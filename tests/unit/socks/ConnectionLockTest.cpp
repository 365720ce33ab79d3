#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "SocksTest.h"
#include "support/SleepingThread.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::SleepingThread;

class ConnectionLock : public SocksTest {
protected:
    ConnectionLock() { socksModeActive.store(1); }

    bool isHeld() {
        const bool free = pthread_mutex_trylock(&record->connectionLock) == 0;
        if (free) EndCriticalSectionBase(&record->connectionLock);
        return !free;
    }
    bool isMarked() const { return (record->flags.load() & SOCKET_LOCKED) != 0; }

    SOCKETINFO* record = createSocketInfo(26, 2, 1, 0, 6);
};

TEST_F(ConnectionLock, IsHeldAndMarkedUntilUnlocked) {
    lock_connection(record, 12);
    EXPECT_TRUE(isHeld());
    EXPECT_TRUE(isMarked());
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][12]** locking socket : 1a **"));
    unlock_connection(record, 13);
    EXPECT_FALSE(isHeld());
    EXPECT_FALSE(isMarked());
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][13]** unlocking socket : 1a **"));
}

TEST_F(ConnectionLock, IsHeldOnceMore) {
    for (int call = 1; call <= 3; ++call) {
        lock_connection(record, call);
        EXPECT_TRUE(isHeld());
        unlock_connection(record, call);
        EXPECT_FALSE(isHeld());
    }
}

TEST_F(ConnectionLock, NothingWithoutARecord) {
    lock_connection(nullptr, 12);
    waitConnectionDone(nullptr, 12);
    unlock_connection(nullptr, 12);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(ConnectionLock, NothingForDescriptorMinusOne) {
    record = createSocketInfo(-1, 2, 1, 0, 6);
    lock_connection(record, 12);
    EXPECT_FALSE(isHeld());
    EXPECT_FALSE(isMarked());
    unlock_connection(record, 12);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(ConnectionLock, NothingOutsideSocksMode) {
    socksModeActive.store(0);
    lock_connection(record, 12);
    EXPECT_FALSE(isHeld());
    EXPECT_FALSE(isMarked());
    waitConnectionDone(record, 12);
    unlock_connection(record, 12);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(ConnectionLock, DataCallsDoNotWaitWithoutAConnect) {
    waitConnectionDone(record, 12);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    lock_connection(record, 1);
    unlock_connection(record, 1);
    (void)log.takeLines();
    waitConnectionDone(record, 12);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(ConnectionLock, OtherSocketsDoNotWait) {
    SOCKETINFO* const other = createSocketInfo(27, 2, 1, 0, 6);
    lock_connection(record, 1);
    (void)log.takeLines();
    waitConnectionDone(other, 2);
    lock_connection(other, 3);
    unlock_connection(other, 3);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][3]** locking socket : 1b **",
                                             "[INFO ][3]** unlocking socket : 1b **"));
    unlock_connection(record, 1);
}

// The mark is seen a moment before the lock is held: the data call then passes.
TEST_F(ConnectionLock, MarkedButNotHeldDoesNotBlock) {
    createMemoLockedSocket(record);
    waitConnectionDone(record, 12);
    EXPECT_FALSE(isHeld());
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][12]** socket locked (waiting) : 1a **",
                                             "[INFO ][12]** socket unlocked : 1a **"));
}

TEST_F(ConnectionLock, DataCallWaitsForTheConnect) {
    lock_connection(record, 1);
    std::atomic<bool> passed{false};
    {
        const SleepingThread dataCall([&] {
            waitConnectionDone(record, 2);
            passed.store(true);
        });
        EXPECT_TRUE(dataCall.isInside());
        EXPECT_FALSE(passed.load());
        EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][1]** locking socket : 1a **",
                                                 "[INFO ][2]** socket locked (waiting) : 1a **"));
        unlock_connection(record, 1);
    }
    EXPECT_TRUE(passed.load());
    EXPECT_FALSE(isHeld());
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][1]** unlocking socket : 1a **",
                                             "[INFO ][2]** socket unlocked : 1a **"));
}

TEST_F(ConnectionLock, ManyDataCallsWait) {
    lock_connection(record, 1);
    std::atomic<int> passed{0};
    {
        const auto wait = [&] {
            waitConnectionDone(record, 2);
            ++passed;
        };
        const SleepingThread first(wait);
        const SleepingThread second(wait);
        const SleepingThread third(wait);
        EXPECT_EQ(passed.load(), 0);
        unlock_connection(record, 1);
    }
    EXPECT_EQ(passed.load(), 3);
    EXPECT_EQ(log.takeLines().size(), 8U);
    EXPECT_FALSE(isHeld());
}

TEST_F(ConnectionLock, SecondConnectWaitsForTheFirst) {
    lock_connection(record, 1);
    {
        const SleepingThread second([&] {
            lock_connection(record, 2);
            unlock_connection(record, 2);
        });
        unlock_connection(record, 1);
    }
    EXPECT_FALSE(isHeld());
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][1]** locking socket : 1a **",
                                             "[INFO ][2]** locking socket : 1a **",
                                             "[INFO ][1]** unlocking socket : 1a **",
                                             "[INFO ][2]** unlocking socket : 1a **"));
}

// SOCKS mode is switched off while the call waits to write its first line.
TEST_F(ConnectionLock, LockingWithoutALockIsAnError) {
    StartCriticalSectionBase(&criticalSectionLog);
    {
        const SleepingThread connect([this] { lock_connection(record, 12); });
        socksModeActive.store(0);
        EndCriticalSectionBase(&criticalSectionLog);
    }
    EXPECT_FALSE(isHeld());
    EXPECT_FALSE(isMarked());
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][12]** locking socket : 1a **",
                                             "[ERROR][12]** LOCK NULL (socket : 1a) **"));
}

TEST_F(ConnectionLock, UnlockingWithoutALockIsAnError) {
    StartCriticalSectionBase(&criticalSectionLog);
    {
        const SleepingThread connect([this] { unlock_connection(record, 12); });
        socksModeActive.store(0);
        EndCriticalSectionBase(&criticalSectionLog);
    }
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ][12]** unlocking socket : 1a **",
                                             "[ERROR][12]** LOCK NULL (socket : 1a) **"));
}

}  // namespace
