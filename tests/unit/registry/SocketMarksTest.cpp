#include <gtest/gtest.h>

#include "RegistryTest.h"

namespace {

TEST(SocketMarks, NullRecordGivesNeutralResults) {
    EXPECT_EQ(getSocket(nullptr), -1);
    EXPECT_EQ(getProtocol(nullptr), 0);
    EXPECT_EQ(getFamily(nullptr), 0);
    EXPECT_EQ(isOpenedSocket(nullptr), 0);
    EXPECT_EQ(isAcceptedSocket(nullptr), 0);
    EXPECT_EQ(isSocketRerouted(nullptr), 0);
    setFamily(nullptr, 2);
    createMemoOpenedSocket(nullptr);
    createMemoAcceptedSocket(nullptr);
    freeOpenedSocket(nullptr);
    freeAcceptedSocket(nullptr);
    EXPECT_EQ(freeMemoOpenedSocket(nullptr), 0);
    EXPECT_EQ(freeMemoAcceptedSocket(nullptr), 0);
    EXPECT_EQ(removeSockaddrElem(nullptr), 0);
    for (const int mode : {0, 1}) {
        socksModeActive.store(mode);
        EXPECT_EQ(createMemoLockedSocket(nullptr), nullptr);
        EXPECT_EQ(freeMemoLockedSocket(nullptr), nullptr);
        EXPECT_EQ(isLockedSocket(nullptr), nullptr);
    }
    socksModeActive.store(0);
}

TEST(SocketMarks, HaveTheirBits) {
    EXPECT_EQ(SOCKET_OPENED, 0x01U);
    EXPECT_EQ(SOCKET_ACCEPTED, 0x02U);
    EXPECT_EQ(SOCKET_REROUTED, 0x04U);
    EXPECT_EQ(SOCKET_LOCKED, 0x08U);
    EXPECT_EQ(SOCKET_NON_BLOCKING, 0x10U);
}

class SocketMark : public RegistryTest {
protected:
    SOCKETINFO* record = createSocketInfo(7, 10, 2, 1, 17);
};

TEST_F(SocketMark, FieldsAreTold) {
    EXPECT_EQ(getSocket(record), 7);
    EXPECT_EQ(getFamily(record), 10);
    EXPECT_EQ(getProtocol(record), 17);
    setFamily(record, 2);
    EXPECT_EQ(getFamily(record), 2);
}

TEST_F(SocketMark, Opened) {
    EXPECT_EQ(isOpenedSocket(record), 0);
    EXPECT_EQ(freeMemoOpenedSocket(record), 0);
    createMemoOpenedSocket(record);
    createMemoOpenedSocket(record);
    EXPECT_EQ(isOpenedSocket(record), 1);
    EXPECT_EQ(record->flags.load(), 0x11U);
    EXPECT_EQ(freeMemoOpenedSocket(record), 1);
    EXPECT_EQ(freeMemoOpenedSocket(record), 0);
    EXPECT_EQ(record->flags.load(), 0x10U);
    createMemoOpenedSocket(record);
    freeOpenedSocket(record);
    EXPECT_EQ(isOpenedSocket(record), 0);
    EXPECT_EQ(record->flags.load(), 0x10U);
}

TEST_F(SocketMark, Accepted) {
    EXPECT_EQ(isAcceptedSocket(record), 0);
    EXPECT_EQ(freeMemoAcceptedSocket(record), 0);
    createMemoAcceptedSocket(record);
    EXPECT_EQ(isAcceptedSocket(record), 1);
    EXPECT_EQ(record->flags.load(), 0x12U);
    EXPECT_EQ(freeMemoAcceptedSocket(record), 1);
    EXPECT_EQ(freeMemoAcceptedSocket(record), 0);
    createMemoAcceptedSocket(record);
    freeAcceptedSocket(record);
    EXPECT_EQ(isAcceptedSocket(record), 0);
    EXPECT_EQ(record->flags.load(), 0x10U);
}

TEST_F(SocketMark, DoNotTouchEachOther) {
    record->flags.store(0x1F);
    EXPECT_EQ(freeMemoOpenedSocket(record), 1);
    EXPECT_EQ(record->flags.load(), 0x1EU);
    EXPECT_EQ(freeMemoAcceptedSocket(record), 1);
    EXPECT_EQ(record->flags.load(), 0x1CU);
    EXPECT_EQ(removeSockaddrElem(record), 1);
    EXPECT_EQ(record->flags.load(), 0x18U);
    EXPECT_EQ(isOpenedSocket(record) + isAcceptedSocket(record) + isSocketRerouted(record), 0);
}

TEST_F(SocketMark, LockedInSocksMode) {
    socksModeActive.store(1);
    EXPECT_EQ(isLockedSocket(record), nullptr);
    EXPECT_EQ(createMemoLockedSocket(record), &record->connectionLock);
    EXPECT_EQ(record->flags.load(), 0x18U);
    EXPECT_EQ(isLockedSocket(record), &record->connectionLock);
    EXPECT_EQ(freeMemoLockedSocket(record), &record->connectionLock);
    EXPECT_EQ(record->flags.load(), 0x10U);
    EXPECT_EQ(isLockedSocket(record), nullptr);
    EXPECT_EQ(freeMemoLockedSocket(record), &record->connectionLock);
}

TEST_F(SocketMark, LockedIsLeftAloneOutsideSocksMode) {
    EXPECT_EQ(createMemoLockedSocket(record), nullptr);
    EXPECT_EQ(record->flags.load(), 0x10U);
    socksModeActive.store(1);
    createMemoLockedSocket(record);
    socksModeActive.store(0);
    EXPECT_EQ(isLockedSocket(record), nullptr);
    EXPECT_EQ(freeMemoLockedSocket(record), nullptr);
    EXPECT_EQ(record->flags.load(), 0x18U);
    socksModeActive.store(1);
    EXPECT_EQ(isLockedSocket(record), &record->connectionLock);
}

TEST_F(SocketMark, LockedNeedsTheRegistry) {
    socksModeActive.store(1);
    createMemoLockedSocket(record);
    criticalSectionSocketInfoInitialized.store(0);
    EXPECT_EQ(isLockedSocket(record), nullptr);
    criticalSectionSocketInfoInitialized.store(1);
    EXPECT_EQ(isLockedSocket(record), &record->connectionLock);
}

}  // namespace
