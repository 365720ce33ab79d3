#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "RegistryTest.h"
#include "registry/DescriptorTable.h"
#include "support/FailingMalloc.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::FailingMalloc;
using veltra::testing::TraceLog;

using SocketRecord = RegistryTest;

std::vector<int> liveSockets() {
    std::vector<int> sockets;
    forEachSocketInfo([&](const SOCKETINFO* record) { sockets.push_back(getSocket(record)); });
    return sockets;
}

void expectFields(const SOCKETINFO* record, int socket, int family, int type, int protocol) {
    EXPECT_EQ(record->socket.load(), socket);
    EXPECT_EQ(record->family.load(), family);
    EXPECT_EQ(record->type.load(), type);
    EXPECT_EQ(record->protocol.load(), protocol);
    EXPECT_EQ(record->destinationLength, 0);
}

TEST_F(SocketRecord, NothingIsKnownBeforeTheFirstSocket) {
    for (const int socket : {0, 1, 3, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(getSocketInfo(socket), nullptr);
        EXPECT_EQ(freeSocketInfo(socket), 0);
    }
    EXPECT_EQ(criticalSectionSocketInfoInitialized.load(), 0);
}

TEST_F(SocketRecord, IsMadeWithItsFields) {
    const SOCKETINFO* const record = createSocketInfo(7, 10, 2, 0, 17);
    ASSERT_NE(record, nullptr);
    expectFields(record, 7, 10, 2, 17);
    EXPECT_EQ(record->flags.load(), 0U);
    EXPECT_EQ(criticalSectionSocketInfoInitialized.load(), 1);
    EXPECT_EQ(getSocketInfo(7), record);
    EXPECT_EQ(getSocketInfo(8), nullptr);
    EXPECT_EQ(getSocketInfo(0), nullptr);
}

TEST_F(SocketRecord, OfDescriptorZeroIsNeverMade) {
    EXPECT_EQ(createSocketInfo(0, 2, 1, 0, 6), nullptr);
    EXPECT_EQ(criticalSectionSocketInfoInitialized.load(), 0);
    createSocketInfo(7, 2, 1, 0, 6);
    EXPECT_EQ(createSocketInfo(0, 2, 1, 0, 6), nullptr);
    EXPECT_EQ(getSocketInfo(0), nullptr);
    EXPECT_EQ(freeSocketInfo(0), 0);
    EXPECT_THAT(liveSockets(), ElementsAre(7));
}

TEST_F(SocketRecord, MadeTwiceIsUpdatedInItsPlace) {
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 1, 6);
    createSocketInfo(8, 2, 1, 0, 6);
    createMemoOpenedSocket(record);
    createMemoAcceptedSocket(record);
    const sockaddr_storage destination{};
    createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&destination), 16);
    const CriticalSection* const lock = &record->connectionLock;

    EXPECT_EQ(createSocketInfo(7, 10, 2, 0, 17), record);
    expectFields(record, 7, 10, 2, 17);
    EXPECT_EQ(record->flags.load(), SOCKET_OPENED | SOCKET_ACCEPTED | SOCKET_REROUTED);
    EXPECT_EQ(&record->connectionLock, lock);
    EXPECT_THAT(liveSockets(), ElementsAre(8, 7));

    EXPECT_EQ(createSocketInfo(7, 2, 1, 1, 6), record);
    EXPECT_EQ(record->flags.load(),
              SOCKET_OPENED | SOCKET_ACCEPTED | SOCKET_REROUTED | SOCKET_NON_BLOCKING);
}

TEST_F(SocketRecord, NonBlockingMarkFollowsTheArgument) {
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 1, 6);
    EXPECT_EQ(record->flags.load(), 0x10U);
    createSocketInfo(7, 2, 1, 0, 6);
    EXPECT_EQ(record->flags.load(), 0U);
    createSocketInfo(7, 2, 1, 1, 6);
    EXPECT_EQ(record->flags.load(), 0x10U);
}

TEST_F(SocketRecord, NewestIsFirst) {
    for (const int socket : {5, 3, 9, 4})
        createSocketInfo(socket, 2, 1, 0, 6);
    EXPECT_THAT(liveSockets(), ElementsAre(4, 9, 3, 5));
    EXPECT_EQ(freeSocketInfo(9), 1);
    EXPECT_THAT(liveSockets(), ElementsAre(4, 3, 5));
    EXPECT_EQ(freeSocketInfo(4), 1);
    EXPECT_THAT(liveSockets(), ElementsAre(3, 5));
    EXPECT_EQ(freeSocketInfo(5), 1);
    EXPECT_THAT(liveSockets(), ElementsAre(3));
    EXPECT_EQ(freeSocketInfo(3), 1);
    EXPECT_THAT(liveSockets(), IsEmpty());
    createSocketInfo(6, 2, 1, 0, 6);
    EXPECT_THAT(liveSockets(), ElementsAre(6));
}

TEST_F(SocketRecord, IsFreedOnce) {
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 0, 6);
    EXPECT_EQ(freeSocketInfo(8), 0);
    EXPECT_EQ(freeSocketInfo(7), 1);
    EXPECT_EQ(freeSocketInfo(7), 0);
    EXPECT_EQ(getSocketInfo(7), nullptr);
    EXPECT_EQ(getSocket(record), 0);
}

TEST_F(SocketRecord, IsReusedLastReleasedFirst) {
    SOCKETINFO* const first = createSocketInfo(1, 2, 1, 0, 6);
    SOCKETINFO* const second = createSocketInfo(2, 2, 1, 0, 6);
    SOCKETINFO* const third = createSocketInfo(3, 2, 1, 0, 6);
    freeSocketInfo(2);
    freeSocketInfo(1);
    freeSocketInfo(3);
    EXPECT_EQ(createSocketInfo(11, 2, 1, 0, 6), third);
    EXPECT_EQ(createSocketInfo(12, 2, 1, 0, 6), first);
    EXPECT_EQ(createSocketInfo(13, 2, 1, 0, 6), second);
    EXPECT_THAT(liveSockets(), ElementsAre(13, 12, 11));
    const SOCKETINFO* const fresh = createSocketInfo(14, 2, 1, 0, 6);
    EXPECT_NE(fresh, first);
    EXPECT_NE(fresh, second);
    EXPECT_NE(fresh, third);
}

TEST_F(SocketRecord, ReusedRecordKeepsLockAndMarks) {
    socksModeActive.store(1);
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 1, 6);
    createMemoOpenedSocket(record);
    createMemoAcceptedSocket(record);
    const CriticalSection* const lock = createMemoLockedSocket(record);
    const sockaddr_storage destination{};
    createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&destination), 16);
    freeSocketInfo(7);
    EXPECT_EQ(record->flags.load(), 0x1FU);
    EXPECT_EQ(record->destinationLength, 16);

    EXPECT_EQ(createSocketInfo(9, 10, 2, 0, 17), record);
    expectFields(record, 9, 10, 2, 17);
    EXPECT_EQ(record->flags.load(), 0x0FU);
    EXPECT_EQ(isLockedSocket(record), lock);
    EXPECT_EQ(getSocketInfo(7), nullptr);
    EXPECT_EQ(getSocketInfo(9), record);
}

// What the table of small numbers does not cover is found all the same.
TEST_F(SocketRecord, AnyDescriptorButZero) {
    constexpr int limit = DescriptorTable::leafSize * DescriptorTable::leafCount;
    ASSERT_FALSE(DescriptorTable::covers(limit));
    const std::vector<int> sockets = {1,         1023,    1024, limit - 1, limit,
                                      limit + 1, INT_MAX, -1,   -2,        INT_MIN};
    std::vector<SOCKETINFO*> records;
    for (const int socket : sockets) {
        records.push_back(createSocketInfo(socket, 2, 1, 0, 6));
        ASSERT_NE(records.back(), nullptr) << socket;
    }
    EXPECT_THAT(liveSockets(), testing::ElementsAreArray(sockets.rbegin(), sockets.rend()));
    for (std::size_t i = 0; i < sockets.size(); ++i) {
        EXPECT_EQ(getSocket(records[i]), sockets[i]);
        EXPECT_EQ(getSocketInfo(sockets[i]), records[i]) << sockets[i];
        EXPECT_EQ(createSocketInfo(sockets[i], 10, 2, 0, 17), records[i]) << sockets[i];
        expectFields(records[i], sockets[i], 10, 2, 17);
    }
    for (const int socket : {2, 1025, limit + 2, INT_MAX - 1, -3, INT_MIN + 1}) {
        EXPECT_EQ(getSocketInfo(socket), nullptr) << socket;
        EXPECT_EQ(freeSocketInfo(socket), 0) << socket;
    }
    for (const int socket : sockets) {
        EXPECT_EQ(freeSocketInfo(socket), 1) << socket;
        EXPECT_EQ(getSocketInfo(socket), nullptr) << socket;
        EXPECT_EQ(freeSocketInfo(socket), 0) << socket;
    }
    EXPECT_THAT(liveSockets(), IsEmpty());
}

TEST_F(SocketRecord, ManyAtOnce) {
    constexpr int count = 20000;
    std::vector<SOCKETINFO*> records;
    for (int socket = 1; socket <= count; ++socket) {
        records.push_back(createSocketInfo(socket, socket, 1, 0, 6));
    }
    for (int socket = 1; socket <= count; ++socket) {
        const SOCKETINFO* const record = getSocketInfo(socket);
        ASSERT_EQ(record, records[static_cast<std::size_t>(socket - 1)]);
        ASSERT_EQ(getFamily(record), socket);
    }
    for (int socket = 1; socket <= count; socket += 2)
        ASSERT_EQ(freeSocketInfo(socket), 1);
    EXPECT_EQ(liveSockets().size(), static_cast<std::size_t>(count / 2));
    for (int socket = 1; socket <= count; ++socket) {
        ASSERT_EQ(getSocketInfo(socket) != nullptr, socket % 2 == 0);
    }
}

TEST_F(SocketRecord, CleanForgetsAll) {
    createSocketInfo(7, 2, 1, 0, 6);
    createSocketInfo(INT_MAX, 2, 1, 0, 6);
    createSocketInfo(8, 2, 1, 0, 6);
    freeSocketInfo(8);
    cleanSocketInfo();
    EXPECT_EQ(criticalSectionSocketInfoInitialized.load(), 0);
    EXPECT_THAT(liveSockets(), IsEmpty());
    for (const int socket : {7, 8, INT_MAX}) {
        EXPECT_EQ(getSocketInfo(socket), nullptr);
        EXPECT_EQ(freeSocketInfo(socket), 0);
    }
    cleanSocketInfo();
    const SOCKETINFO* const record = createSocketInfo(7, 10, 2, 0, 17);
    expectFields(record, 7, 10, 2, 17);
    EXPECT_EQ(record->flags.load(), 0U);
    EXPECT_EQ(getSocketInfo(7), record);
}

TEST_F(SocketRecord, PreparingTheRegistryTwiceKeepsTheRecords) {
    preInitializeMemo();
    EXPECT_EQ(getSocketInfo(7), nullptr);
    const SOCKETINFO* const record = createSocketInfo(7, 2, 1, 0, 6);
    preInitializeMemo();
    EXPECT_EQ(getSocketInfo(7), record);
}

TEST_F(SocketRecord, FurtherLockCanBeMadeAndDestroyed) {
    InitializeLists();
    FinalizeLists();
    createSocketInfo(7, 2, 1, 0, 6);
    EXPECT_THAT(liveSockets(), ElementsAre(7));
}

TEST_F(SocketRecord, MemoryShortageGivesNone) {
    TraceLog log;
    createSocketInfo(7, 2, 1, 0, 6);
    {
        const FailingMalloc shortage;
        // In the table's part of descriptor 7, in a part of its own, and in none.
        for (const int socket : {8, 500000, INT_MAX}) {
            EXPECT_EQ(createSocketInfo(socket, 2, 1, 0, 6), nullptr);
            EXPECT_THAT(log.takeLines(),
                        ElementsAre("[ERROR]malloc error in createMemoOpenedSocket"));
            EXPECT_EQ(getSocketInfo(socket), nullptr);
            EXPECT_EQ(freeSocketInfo(socket), 0);
        }
        EXPECT_NE(createSocketInfo(7, 10, 1, 0, 6), nullptr);
        freeSocketInfo(7);
        EXPECT_NE(createSocketInfo(8, 2, 1, 0, 6), nullptr);
    }
    EXPECT_THAT(liveSockets(), ElementsAre(8));
    EXPECT_NE(createSocketInfo(500000, 2, 1, 0, 6), nullptr);
    EXPECT_THAT(liveSockets(), ElementsAre(500000, 8));
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

// A record is there, but not the part of the table for its descriptor.
TEST_F(SocketRecord, MemoryShortageOfTheTableLosesNoRecord) {
    SOCKETINFO* const record = createSocketInfo(7, 2, 1, 0, 6);
    freeSocketInfo(7);
    TraceLog log;
    {
        const FailingMalloc shortage;
        EXPECT_EQ(createSocketInfo(500000, 2, 1, 0, 6), nullptr);
    }
    EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]malloc error in createMemoOpenedSocket"));
    EXPECT_THAT(liveSockets(), IsEmpty());
    EXPECT_EQ(getSocket(record), 0);
    EXPECT_EQ(createSocketInfo(500000, 2, 1, 0, 6), record);
}

}  // namespace
