#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <climits>
#include <string>

#include "RegistryTest.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::TraceLog;

class SocketDisplay : public RegistryTest {
protected:
    TraceLog log;
};

void storeIpv4(SOCKETINFO* record, const char* text, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, text, &address.sin_addr);
    createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
}

void storeIpv6(SOCKETINFO* record, const char* text, std::uint16_t port) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    inet_pton(AF_INET6, text, &address.sin6_addr);
    createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
}

TEST_F(SocketDisplay, OneSocket) {
    displayOpenedSocket(nullptr);
    for (const int socket : {7, 16, 0xabc, INT_MAX, -1, INT_MIN}) {
        displayOpenedSocket(createSocketInfo(socket, 2, 1, 0, 6));
    }
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ](null)", "[INFO ]7", "[INFO ]10", "[INFO ]abc",
                                             "[INFO ]7fffffff", "[INFO ]ffffffffffffffff",
                                             "[INFO ]ffffffff80000000"));
}

TEST_F(SocketDisplay, LocalSocketsAreShownToo) {
    displayOpenedSocket(createSocketInfo(7, AF_UNIX, 1, 0, 0));
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]7"));
}

TEST_F(SocketDisplay, AllSockets) {
    displayAllSocketInfo("before");
    for (const int socket : {5, 26, 9})
        createSocketInfo(socket, 2, 1, 0, 6);
    freeSocketInfo(9);
    displayAllSocketInfo("a title");
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[INFO ]======= all socket info : before ==============",
                            "[INFO ]==========================================================",
                            "[INFO ]======= all socket info : a title ==============", "[INFO ]1a",
                            "[INFO ]5",
                            "[INFO ]=========================================================="));
}

TEST_F(SocketDisplay, MarkedSockets) {
    socksModeActive.store(1);
    displayAllOpenedSocket();
    displayAllAcceptedSocket();
    displayAllLockedSocket();
    EXPECT_THAT(log.takeLines(), IsEmpty());
    SOCKETINFO* records[8];
    for (int i = 1; i < 8; ++i)
        records[i] = createSocketInfo(i, 2, 1, 0, 6);
    createMemoOpenedSocket(records[1]);
    createMemoOpenedSocket(records[4]);
    createMemoAcceptedSocket(records[2]);
    createMemoAcceptedSocket(records[4]);
    createMemoLockedSocket(records[3]);
    createMemoLockedSocket(records[4]);
    storeIpv4(records[5], "10.0.0.1", 80);
    displayAllOpenedSocket();
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]4", "[INFO ]1"));
    displayAllAcceptedSocket();
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]4", "[INFO ]2"));
    displayAllLockedSocket();
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]4", "[INFO ]3"));
}

TEST_F(SocketDisplay, ReroutedSockets) {
    storeIpv4(createSocketInfo(7, 2, 1, 0, 6), "10.0.0.255", 80);
    createSocketInfo(8, 2, 1, 0, 6);
    storeIpv6(createSocketInfo(26, 10, 1, 0, 6), "2001:db8::1", 65535);
    displaySockaddrList();
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[INFO ]--------------- sockaddr list --------------------",
                            "[INFO ]=> socket : 1a \tip : 2001:db8:0:0:0:0:0:1(65535)",
                            "[INFO ]=> socket : 7 \tip : 10.0.0.255(80)",
                            "[INFO ]--------------------------------------------------"));
    removeSockaddrElem(getSocketInfo(7));
    freeSocketInfo(26);
    displaySockaddrList();
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[INFO ]--------------- sockaddr list --------------------",
                            "[INFO ]--------------------------------------------------"));
}

TEST_F(SocketDisplay, ReroutedDestinations) {
    SOCKETINFO* const record = createSocketInfo(-1, 2, 1, 0, 6);
    storeIpv4(record, "0.0.0.0", 0);
    displaySockaddrElem(record);
    storeIpv4(record, "255.255.255.255", 0x1234);
    displaySockaddrElem(record);
    storeIpv6(record, "::", 0);
    displaySockaddrElem(record);
    storeIpv6(record, "ffff:fff0:0a0b:1000:0100:0010:abcd:ef01", 8080);
    displaySockaddrElem(record);
    sockaddr other{};
    other.sa_family = AF_UNIX;
    createSockaddrElem(record, &other, sizeof(other));
    displaySockaddrElem(record);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[INFO ]=> socket : ffffffffffffffff \tip : 0.0.0.0(0)",
                            "[INFO ]=> socket : ffffffffffffffff \tip : 255.255.255.255(4660)",
                            "[INFO ]=> socket : ffffffffffffffff \tip : 0:0:0:0:0:0:0:0(0)",
                            "[INFO ]=> socket : ffffffffffffffff \tip : "
                            "ffff:fff0:a0b:1000:100:10:abcd:ef01(8080)",
                            "[INFO ]=> socket : ffffffffffffffff \tip : <unknown>(0)"));
}

TEST_F(SocketDisplay, NeedsTheInfoKind) {
    createSocketInfo(7, 2, 1, 0, 6);
    debugLvl.store(1023 & ~(1 << TRACE_INFO));
    displayAllSocketInfo("title");
    displaySockaddrList();
    displayOpenedSocket(nullptr);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

}  // namespace
