#include <gtest/gtest.h>
#include <sys/socket.h>

#include "hooks/HookSocket.h"
#include "socks/Socks.h"

namespace {

struct Case {
    int family;
    int protocol;
    bool socksMode;
    bool doubleLog;
    bool rerouted;
    int reason;
};

class ShouldBeLogged : public testing::TestWithParam<Case> {};

TEST_P(ShouldBeLogged, TellsTheReason) {
    const Case& given = GetParam();
    SOCKETINFO* const record = createSocketInfo(7, given.family, SOCK_STREAM, 0, given.protocol);
    if (given.rerouted) {
        const sockaddr_in destination{};
        createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&destination), 16);
    } else {
        removeSockaddrElem(record);
    }
    socksModeActive = given.socksMode ? 1 : 0;
    doubleLogSocks = given.doubleLog;
    EXPECT_EQ(shouldBeLogged(record), given.reason);
}

INSTANTIATE_TEST_SUITE_P(
    Sockets, ShouldBeLogged,
    testing::Values(
        Case{AF_INET, 6, false, false, false, 0}, Case{AF_INET6, 6, false, false, false, 0},
        Case{AF_INET, 0, false, false, false, 0}, Case{AF_INET, 17, false, false, false, 2},
        Case{AF_INET6, 17, true, true, true, 2}, Case{AF_UNIX, 6, false, false, false, 3},
        Case{AF_UNIX, 17, false, false, false, 3}, Case{0, 6, false, false, false, 3},
        Case{23, 6, false, false, false, 3}, Case{AF_INET, 6, true, false, false, 0},
        Case{AF_INET, 6, true, false, true, 1}, Case{AF_INET6, 6, true, false, true, 1},
        Case{AF_INET, 6, true, true, true, 0}, Case{AF_INET, 6, false, false, true, 0},
        Case{AF_INET, 6, false, true, true, 0}));

TEST(ShouldBeLoggedOf, AnUnknownSocketIsNotRecorded) {
    EXPECT_EQ(shouldBeLogged(nullptr), 3);
}

TEST(ShouldBeLoggedOf, EveryReasonHasItsName) {
    EXPECT_STREQ(ImageShouldBeLogged[0], "SHOULDBELOGGED");
    EXPECT_STREQ(ImageShouldBeLogged[1], "SOCKSRECORDED");
    EXPECT_STREQ(ImageShouldBeLogged[2], "UDPSOCKET");
    EXPECT_STREQ(ImageShouldBeLogged[3], "NONINET");
}

}  // namespace
