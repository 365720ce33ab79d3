#include <netinet/in.h>

#include "RegistryTest.h"

namespace {

SOCKETINFO* makeTcp(int socket) {
    return registerNewSocket(socket, AF_INET, SOCK_STREAM, 0, IPPROTO_TCP);
}

TEST_F(RegistryTest, ClosedSocketLeavesWithItsMarks) {
    SOCKETINFO* const record = makeTcp(7);
    createMemoOpenedSocket(record);
    createMemoAcceptedSocket(record);
    EXPECT_TRUE(withdrawSocketInfo(record, 7));
    EXPECT_EQ(getSocketInfo(7), nullptr);
    EXPECT_EQ(isOpenedSocket(record), 1);
    releaseWithdrawnSocketInfo(record);
    EXPECT_EQ(getSocketInfo(7), nullptr);
    EXPECT_EQ(isOpenedSocket(record), 0);
    EXPECT_EQ(isAcceptedSocket(record), 0);
}

TEST_F(RegistryTest, SocketThatCouldNotBeClosedKeepsItsMarks) {
    SOCKETINFO* const record = makeTcp(7);
    createMemoOpenedSocket(record);
    EXPECT_TRUE(withdrawSocketInfo(record, 7));
    restoreSocketInfo(record, 7);
    EXPECT_EQ(getSocketInfo(7), record);
    EXPECT_EQ(isOpenedSocket(record), 1);
}

TEST_F(RegistryTest, NumberThatWasGivenAwayDuringACloseHasItsOwnRecord) {
    for (const bool closeFails : {false, true}) {
        SOCKETINFO* const record = makeTcp(7);
        createMemoOpenedSocket(record);
        EXPECT_TRUE(withdrawSocketInfo(record, 7));
        SOCKETINFO* const successor = makeTcp(7);
        EXPECT_NE(successor, record);
        EXPECT_EQ(isOpenedSocket(successor), 0);
        createMemoOpenedSocket(successor);
        closeFails ? restoreSocketInfo(record, 7) : releaseWithdrawnSocketInfo(record);
        EXPECT_EQ(getSocketInfo(7), successor);
        EXPECT_EQ(isOpenedSocket(successor), 1);
        EXPECT_EQ(isOpenedSocket(record), 0);
    }
}

TEST_F(RegistryTest, RecordOfAnotherSocketIsNotWithdrawn) {
    SOCKETINFO* const record = makeTcp(7);
    EXPECT_TRUE(withdrawSocketInfo(record, 7));
    EXPECT_FALSE(withdrawSocketInfo(record, 7));
    releaseWithdrawnSocketInfo(record);
    SOCKETINFO* const reused = makeTcp(8);
    EXPECT_EQ(reused, record);
    EXPECT_FALSE(withdrawSocketInfo(record, 7));
    EXPECT_EQ(getSocketInfo(8), record);
}

TEST_F(RegistryTest, NewSocketBeginsWithCleanMarksAfterAnUnseenClose) {
    SOCKETINFO* const record = makeTcp(7);
    createMemoOpenedSocket(record);
    createMemoAcceptedSocket(record);
    SOCKETINFO* const successor = makeTcp(7);
    EXPECT_EQ(isOpenedSocket(successor), 0);
    EXPECT_EQ(isAcceptedSocket(successor), 0);
}

TEST_F(RegistryTest, AcceptedMarkIsClaimedOnce) {
    SOCKETINFO* const record = makeTcp(7);
    EXPECT_TRUE(claimAcceptedMark(record));
    EXPECT_FALSE(claimAcceptedMark(record));
    EXPECT_EQ(isAcceptedSocket(record), 1);
    EXPECT_TRUE(claimAcceptedMark(nullptr));
    EXPECT_TRUE(claimAcceptedMark(nullptr));
}

}  // namespace
