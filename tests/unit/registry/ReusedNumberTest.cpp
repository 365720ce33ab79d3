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
    releaseClosedSocket(record, 7, record->generation);
    EXPECT_EQ(getSocketInfo(7), nullptr);
    EXPECT_EQ(isOpenedSocket(record), 0);
    EXPECT_EQ(isAcceptedSocket(record), 0);
}

TEST_F(RegistryTest, NumberThatWasGivenAwayMeanwhileKeepsItsRecord) {
    SOCKETINFO* const record = makeTcp(7);
    const std::uint32_t generation = record->generation;
    SOCKETINFO* const successor = makeTcp(7);
    createMemoOpenedSocket(successor);
    releaseClosedSocket(record, 7, generation);
    EXPECT_EQ(getSocketInfo(7), successor);
    EXPECT_EQ(isOpenedSocket(successor), 1);
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
