#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

TEST(Bind, ToPortZeroRemembersThePortThatTheSystemChose) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-to-any-port");
    const std::string first = notRecordedMessage("3", "bind");
    const std::string second = notRecordedMessage("5", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]bind 3",
                       "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][2]bind (OK):",
                       "[INFO ]local port : ASSIGNED",
                       "[INFO ][2] familly AF_INET \tip 127.0.0.1\t port ASSIGNED",
                       portListBegin,
                       "[INFO ]socket 3\t port ASSIGNED",
                       portListEnd,
                       processTrace(),
                       dataTrace(3, first),
                       "[CALL ][4]socket ",
                       "[RET  ][4]socket (OK):\tsocket : 4\t af = (10)AF_INET6,\t type = "
                       "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                       "[CALL ][5]bind 4",
                       "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][5]bind (OK):",
                       "[INFO ]local port : ASSIGNED6",
                       "[INFO ][5] familly AF_CCITT \tip 0:0:0:0:0:0:0:1\t port ASSIGNED6",
                       portListBegin,
                       "[INFO ]socket 4\t port ASSIGNED6",
                       "[INFO ]socket 3\t port ASSIGNED",
                       portListEnd,
                       dataTrace(6, second),
                       "[CALL ][7]closesocket \tsocket : 3",
                       "[RET  ][7]closesocket (OK):\tsocket : 3",
                       portListBegin,
                       "[INFO ]socket 4\t port ASSIGNED6",
                       portListEnd,
                       "[INFO ][7]closesocket on 3 not logged (no connect or accept)",
                       "[CALL ][8]closesocket \tsocket : 4",
                       "[RET  ][8]closesocket (OK):\tsocket : 4",
                       portListBegin,
                       portListEnd,
                       "[INFO ][8]closesocket on 4 not logged (no connect or accept)"}}));
}

TEST(Bind, ThatFailsRemembersTheRequestedPortToo) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-to-taken-port");
    const std::string first = notRecordedMessage("3", "bind");
    const std::string second = notRecordedMessage("5", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]bind 3",
                       "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][2]bind (SOCKET ERROR : 98 WSAEADDRINUSE : Address already in use):",
                       "[INFO ][2] familly AF_INET \tip 127.0.0.1\t port TAKEN",
                       portListBegin,
                       "[INFO ]socket 3\t port TAKEN",
                       portListEnd,
                       processTrace(),
                       dataTrace(3, first),
                       "[CALL ][4]bind 3",
                       "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][4]bind (OK):",
                       "[INFO ]local port : ASSIGNED",
                       "[INFO ][4] familly AF_INET \tip 127.0.0.1\t port ASSIGNED",
                       portListBegin,
                       "[INFO ]socket 3\t port ASSIGNED",
                       "[INFO ]socket 3\t port TAKEN",
                       portListEnd,
                       dataTrace(5, second),
                       "[CALL ][6]closesocket \tsocket : 3",
                       "[RET  ][6]closesocket (OK):\tsocket : 3",
                       portListBegin,
                       "[INFO ]socket 3\t port TAKEN",
                       portListEnd,
                       "[INFO ][6]closesocket on 3 not logged (no connect or accept)"}}));
}

TEST(Bind, TracesAnIpv6AddressInEightGroups) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-to-foreign-address");
    const std::string message = notRecordedMessage("3", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (10)AF_INET6,\t type = (1)SOCK_STREAM,\t "
               "protocol = (0)IPPROTO_TCP",
               "[CALL ][2]bind 3", "[INFO ]<NOT_RECORDED_HOOK> bind",
               "[RET  ][2]bind (SOCKET ERROR : 99 WSAEADDRNOTAVAIL : Cannot assign requested "
               "address):",
               "[INFO ][2] familly AF_CCITT \tip 2001:db8:0:0:0:0:0:a0\t port 8080", portListBegin,
               "[INFO ]socket 3\t port 8080", portListEnd, processTrace(), dataTrace(3, message)}));
}

TEST(Bind, OfALocalSocketRemembersNothingAndIsAnnounced) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-local");
    const Lines messages = {notRecordedMessage("3", "bind"), notRecordedMessage("5", "bind"),
                            notRecordedMessage("7", "listen")};
    EXPECT_EQ(outcome.messages, joined({{processMessage}, messages}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = (1)SOCK_STREAM,\t "
               "protocol = (0)IPPROTO_TCP",
               "[RET  ][2]bind (OK):", processTrace(), dataTrace(3, messages[0]),
               "[RET  ][4]bind (SOCKET ERROR : 98 WSAEADDRINUSE : Address already in use):",
               dataTrace(5, messages[1]), "[RET  ][6]listen (OK):", dataTrace(7, messages[2]),
               "[RET  ][8]closesocket (OK):\tsocket : 3", portListBegin, portListEnd}));
}

TEST(Bind, OfUnknownDescriptorsIsRememberedAndAnnounced) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-unknown");
    const std::string first = notRecordedMessage("3", "bind");
    const std::string second = notRecordedMessage("5", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[RET  ][1]bind (SOCKET ERROR : 9 ????? : unknown code):", portListBegin,
               "[INFO ]socket ffffffffffffffff\t port 4711", portListEnd, processTrace(),
               dataTrace(2, first),
               "[RET  ][3]bind (SOCKET ERROR : 88 WSAENOTSOCK : Socket operation on nonsocket):",
               portListBegin, "[INFO ]socket 0\t port 4711",
               "[INFO ]socket ffffffffffffffff\t port 4711", portListEnd, dataTrace(4, second)}));
}

TEST(Bind, WithoutAnAddressGivesTheBareAnswer) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-without-address");
    const std::string first = notRecordedMessage("3", "bind");
    const std::string second = notRecordedMessage("5", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]bind 3", "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][2]bind (SOCKET ERROR : 14 ????? : unknown code):", processTrace(),
                       dataTrace(3, first), "[CALL ][4]bind 3", "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][4]bind (SOCKET ERROR : 22 ????? : unknown code):",
                       dataTrace(5, second)}}));
}

TEST(Bind, OfADatagramSocketIsRememberedToo) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-datagram");
    const std::string message = notRecordedMessage("3", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
               "protocol = (0)IPPROTO_UDP",
               "[CALL ][2]bind 3", "[INFO ]<NOT_RECORDED_HOOK> bind",
               "[RET  ][2]bind (OK):", "[INFO ]local port : ASSIGNED",
               "[INFO ][2] familly AF_INET \tip 0.0.0.0\t port ASSIGNED", portListBegin,
               "[INFO ]socket 3\t port ASSIGNED", portListEnd, processTrace(),
               dataTrace(3, message), "[CALL ][4]closesocket \tsocket : 3",
               "[RET  ][4]closesocket (OK):\tsocket : 3", portListBegin, portListEnd,
               "[INFO ][4]closesocket on 3 not logged (no connect or accept)"}));
}

TEST(Bind, RemembersPortZeroWhenTheChosenOneCannotBeTold) {
    const ProbeOutcome outcome = runScenario("lifecycle", "bind-without-name");
    const std::string first = notRecordedMessage("3", "bind");
    const std::string second = notRecordedMessage("5", "bind");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]bind 3",
                       "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][2]bind (OK):",
                       "[INFO ][2] familly AF_INET \tip 127.0.0.1\t port 0",
                       portListBegin,
                       "[INFO ]socket 3\t port 0",
                       portListEnd,
                       processTrace(),
                       dataTrace(3, first),
                       "[CALL ][4]socket ",
                       "[RET  ][4]socket (OK):\tsocket : 4\t af = (2)AF_INET,\t type = "
                       "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                       "[CALL ][5]bind 4",
                       "[INFO ]<NOT_RECORDED_HOOK> bind",
                       "[RET  ][5]bind (OK):",
                       "[ERROR]failed to retrieve sock options (SOCKET ERROR : 105 WSAENOBUFS : No "
                       "buffer space available)",
                       "[INFO ][5] familly AF_INET \tip 127.0.0.1\t port 0",
                       portListBegin,
                       "[INFO ]socket 4\t port 0",
                       "[INFO ]socket 3\t port 0",
                       portListEnd,
                       dataTrace(6, second)}}));
}

TEST(Listen, IsTracedOnItsSocketAndAnnounced) {
    const ProbeOutcome outcome = runScenario("lifecycle", "listen");
    const Lines messages = {notRecordedMessage("3", "listen"), notRecordedMessage("5", "listen"),
                            notRecordedMessage("7", "listen")};
    EXPECT_EQ(outcome.messages, joined({{processMessage}, messages}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        joined({socketTrace(),
                {"[CALL ][2]listen 3", "[INFO ]<NOT_RECORDED_HOOK> listen",
                 "[RET  ][2]listen (OK):", processTrace(), dataTrace(3, messages[0]),
                 "[RET  ][4]listen (SOCKET ERROR : 9 ????? : unknown code):",
                 dataTrace(5, messages[1]), "[CALL ][6]socket ",
                 "[RET  ][6]socket (OK):\tsocket : 4\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
                 "protocol = (0)IPPROTO_UDP",
                 "[CALL ][7]listen 4", "[INFO ]<NOT_RECORDED_HOOK> listen",
                 "[RET  ][7]listen (SOCKET ERROR : 95 WSAEOPNOTSUPP : Operation not supported):",
                 dataTrace(8, messages[2])}}));
}

}  // namespace

}  // namespace veltra::testing
