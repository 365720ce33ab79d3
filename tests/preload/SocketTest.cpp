#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

TEST(Socket, TracesEveryKindAndSendsNothing) {
    const ProbeOutcome outcome = runScenario("lifecycle", "every-socket");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{
            "[CALL ][1]socket ",
            "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (1)SOCK_STREAM,\t "
            "protocol = (0)IPPROTO_TCP",
            "[CALL ][2]socket ",
            "[RET  ][2]socket (OK):\tsocket : 4\t af = (2)AF_INET,\t type = (2049)SOCK_NONBLOCK | "
            "SOCK_STREAM,\t protocol = (6)IPPROTO_TCP",
            "[CALL ][3]socket ",
            "[RET  ][3]socket (OK):\tsocket : 5\t af = (10)AF_INET6,\t type = "
            "(526337)SOCK_NONBLOCK | SOCK_CLOEXEC | SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
            "[CALL ][4]socket ",
            "[RET  ][4]socket (OK):\tsocket : 6\t af = (10)AF_INET6,\t type = "
            "(524290)SOCK_CLOEXEC | SOCK_DGRAM,\t protocol = (0)IPPROTO_UDP",
            "[CALL ][5]socket ",
            "[RET  ][5]socket (OK):\tsocket : 7\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
            "protocol = (17)IPPROTO_UDP",
            "[CALL ][6]socket ",
            "[RET  ][6]socket (OK):\tsocket : 8\t af = (1)AF_UNIX,\t type = (5)SOCK_SEQPACKET,\t "
            "protocol = (0)Default Protocol",
            "[CALL ][7]socket ",
            "[RET  ][7]socket (OK):\tsocket : 9\t af = (16)AF_NETLINK,\t type = (3)SOCK_RAW,\t "
            "protocol = (0)Default Protocol",
            "[CALL ][8]socket ",
            "[WARNI][8]socket (INVALID_SOCKET : 93 WSAEPROTONOSUPPORT : Protocol not "
            "supported):\t af = (2)AF_INET,\t type = (1)SOCK_STREAM,\t protocol = (17)IPPROTO_UDP",
            "[CALL ][9]socket ",
            "[WARNI][9]socket (INVALID_SOCKET : 94 WSAESOCKTNOSUPPORT : Socket type not "
            "supported):\t af = (2)AF_INET,\t type = (4)SOCK_RDM,\t protocol = (0)Default Protocol",
            "[CALL ][10]socket ",
            "[WARNI][10]socket (INVALID_SOCKET : 94 WSAESOCKTNOSUPPORT : Socket type not "
            "supported):\t af = (2)AF_INET,\t type = (7)<unknown>,\t protocol = (3)BTHPROTO_RFCOMM",
            "[CALL ][11]socket ",
            "[WARNI][11]socket (INVALID_SOCKET : 97 WSAEAFNOSUPPORT : Address family not supported "
            "by protocol family):\t af = (33)<unknown>,\t type = (526337)SOCK_NONBLOCK | "
            "SOCK_CLOEXEC | SOCK_STREAM,\t protocol = (113)IPPROTO_RM",
            "[CALL ][12]socket ",
            "[WARNI][12]socket (INVALID_SOCKET : 97 WSAEAFNOSUPPORT : Address family not supported "
            "by protocol family):\t af = (-1)<unknown>,\t type = (10)SOCK_PACKET,\t protocol = "
            "(255)<unknown>",
        }));
}

TEST(Socket, WithDescriptorZeroIsTracedButNeverKnown) {
    const ProbeOutcome outcome = runScenario("lifecycle", "socket-of-answer");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[WARNI][1]socket (INVALID_SOCKET : 24 ????? : unknown code):\t af = "
                     "(2)AF_INET,\t type = (1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                     "[CALL ][2]socket ",
                     "[RET  ][2]socket (OK):\tsocket : 0\t af = (2)AF_INET,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}));
}

}  // namespace

}  // namespace veltra::testing
