#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

// The message of a connect as the second call, on the descriptor 4. `before` and `after` stand for
// the attributes that come first and last.
std::string messageOf(const std::string& before, const std::string& after) {
    return "<connect " + before +
           R"(pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="3" duration_I4="D" )" + after +
           "/>";
}

const std::string toServer = R"(family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER")";

const std::string closeMessage =
    R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3"/>)";

// The trace of the decision not to use a SOCKS server.
std::string directTrace(int callNumber) {
    return "[WARNI][" + std::to_string(callNumber) +
           "]SocksConnect (SOCKS:  :socksStatus 0 socksError 0 toReconnect 1 loopback 0 ret 0";
}

// The trace of a close as the third call, of a connected socket.
Lines closeTrace() {
    return {"[CALL ][3]closesocket \tsocket : 3",
            "[RET  ][3]closesocket (OK):\tsocket : 3",
            portListBegin,
            portListEnd,
            dataTrace(3, closeMessage),
            "[INFO ][3]closesocket on 3 (connect)"};
}

TEST(Connect, IsRecordedAndMakesTheCloseRecorded) {
    const ProbeOutcome outcome = runScenario("connect", "connect");
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{closeMessage});
    EXPECT_EQ(traceAfterConnect(outcome), closeTrace());
}

TEST(Connect, ToAnIpv6AddressRecordsItInEightGroups) {
    const ProbeOutcome outcome = runScenario("connect", "ipv6");
    const std::string message =
        messageOf(R"(localport_I4="LOCAL" )",
                  R"(family_AS="AF_CCITT" ip_AS="0:0:0:0:0:0:0:1" port_I4="SERVER")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (10)AF_INET6,\t type = (1)SOCK_STREAM,\t "
               "protocol = (0)IPPROTO_TCP",
               "[CALL ][2]connect \tsocket : 3", directTrace(2), "[INFO ]local port : LOCAL",
               "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 28",
               processTrace(), dataTrace(2, message)}));
}

TEST(Connect, ThatIsRefusedIsRecordedAndItsCloseIsNot) {
    const ProbeOutcome outcome = runScenario("connect", "refused");
    const std::string message = messageOf("", toServer + R"( error_I4="6f")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]connect \tsocket : 3", directTrace(2),
                       "[WARNI][2]connect (SOCKET ERROR : 111 WSAECONNREFUSED : Connection "
                       "refused):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message), "[CALL ][3]closesocket \tsocket : 3",
                       "[RET  ][3]closesocket (OK):\tsocket : 3", portListBegin, portListEnd,
                       "[INFO ][3]closesocket on 3 not logged (no connect or accept)"}}));
}

TEST(Connect, InProgressCountsAsConnectedAndRecordsItsError) {
    const ProbeOutcome outcome = runScenario("connect", "in-progress");
    const std::string message = messageOf("", toServer + R"( error_I4="73")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, closeMessage}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({{"[CALL ][1]socket ",
                       "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = "
                       "(2049)SOCK_NONBLOCK | SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                       "[CALL ][2]connect \tsocket : 3", directTrace(2), "[INFO ]local port : 0",
                       "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      closeTrace()}));
}

TEST(Connect, ThatFailsWithoutAnErrorCodeCountsAsConnected) {
    const ProbeOutcome outcome = runScenario("connect", "without-error-code");
    const std::string message = messageOf("", toServer + R"( error_I4="0")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, closeMessage}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]connect \tsocket : 3", directTrace(2), "[INFO ]local port : 0",
                       "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      closeTrace()}));
}

TEST(Connect, OfAConnectedSocketRecordsTheError) {
    const ProbeOutcome outcome = runScenario("connect", "already");
    const std::string message =
        R"(<connect pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" duration_I4="D" family_AS="AF_INET" ip_AS="10.1.2.3" port_I4="50" error_I4="6a"/>)";
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{message});
    EXPECT_EQ(traceAfterConnect(outcome),
              (Lines{"[CALL ][3]connect \tsocket : 3", directTrace(3),
                     "[WARNI][3]connect (SOCKET ERROR : 106 WSAEISCONN : Socket is already "
                     "connected):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                     dataTrace(3, message)}));
}

TEST(Connect, WithoutALocalPortLeavesItOut) {
    const std::string message = messageOf("", toServer);
    const Lines begin = {"[CALL ][2]connect \tsocket : 3", directTrace(2)};
    const Lines end = {"[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)};

    const ProbeOutcome notYet = runScenario("connect", "name-not-yet");
    EXPECT_EQ(notYet.messages, (Lines{processMessage, message}));
    EXPECT_EQ(traceAfterStartUp(notYet), joined({socketTrace(), begin, end}));

    const ProbeOutcome fails = runScenario("connect", "name-fails");
    EXPECT_EQ(fails.messages, (Lines{processMessage, message}));
    EXPECT_EQ(traceAfterStartUp(fails),
              joined({socketTrace(),
                      begin,
                      {"[ERROR]failed to retrieve sock options (SOCKET ERROR : 107 WSAENOTCONN : "
                       "Socket is not connected)"},
                      end}));
}

TEST(Connect, OfADatagramSocketIsNotRecordedButItsCloseIs) {
    const ProbeOutcome outcome = runScenario("connect", "datagram");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, closeMessage}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
               "protocol = (0)IPPROTO_UDP",
               "[CALL ][2]connect \tsocket : 3", "[INFO ]local port : LOCAL",
               "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
               "[CALL ][3]closesocket \tsocket : 3", "[RET  ][3]closesocket (OK):\tsocket : 3",
               portListBegin, portListEnd, processTrace(), dataTrace(3, closeMessage),
               "[INFO ][3]closesocket on 3 (connect)"}));
}

TEST(Connect, OfADatagramSocketThatFailsIsTracedOnly) {
    const ProbeOutcome outcome = runScenario("connect", "datagram-fails");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
               "protocol = (0)IPPROTO_UDP",
               "[CALL ][2]connect \tsocket : 3",
               "[WARNI][2]connect (SOCKET ERROR : 97 WSAEAFNOSUPPORT : Address family not "
               "supported by protocol family):\tsocket : 3\t name = 0xDESTINATION,\t namelen = "
               "110"}));
}

TEST(Connect, OfALocalSocketIsNotRecordedButItsCloseIs) {
    const ProbeOutcome outcome = runScenario("connect", "local");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, closeMessage}));
    const Lines expected = {"[CALL ][1]socket ",
                            "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = "
                            "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                            "[INFO ]local port : 0",
                            "[RET  ][3]closesocket (OK):\tsocket : 3",
                            portListBegin,
                            portListEnd,
                            processTrace(),
                            dataTrace(3, closeMessage)};
    EXPECT_EQ(traceAfterStartUp(outcome), expected);
}

TEST(Connect, OfALocalSocketThatFailsLeavesItsCloseUnrecorded) {
    const ProbeOutcome outcome = runScenario("connect", "local-fails");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                     "[RET  ][3]closesocket (OK):\tsocket : 3", portListBegin, portListEnd}));
}

TEST(Connect, OfAnUnknownDescriptorIsRecordedWithoutATraceOfItsOwn) {
    const ProbeOutcome outcome = runScenario("connect", "unknown");
    const std::string first =
        R"(<connect localport_I4="LOCAL" pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="65" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)";
    const std::string second =
        R"(<connect pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="ffffffffffffffff" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER" error_I4="9"/>)";
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(traceAfterStartUp(outcome), (Lines{"[INFO ]local port : LOCAL", processTrace(),
                                                 dataTrace(1, first), dataTrace(2, second)}));
}

TEST(Connect, ToAPortOfThisProcessIsALocalLoop) {
    const ProbeOutcome outcome = runScenario("connect", "own-server");
    const std::string message =
        R"(<connect localport_I4="LOCAL" loopback_I4="1" pid_I4="PID" timestamp_I8="T" ticket_I4="6" socket_I8="4" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)";
    EXPECT_EQ(messagesAfterListen(outcome), Lines{message});
    EXPECT_EQ(
        traceAfterListen(outcome),
        (Lines{"[CALL ][6]socket ",
               "[RET  ][6]socket (OK):\tsocket : 4\t af = (2)AF_INET,\t type = (1)SOCK_STREAM,\t "
               "protocol = (0)IPPROTO_TCP",
               "[CALL ][7]connect \tsocket : 4", "[INFO ]socks mode inactived (local loop)",
               "[WARNI][7]SocksConnect (SOCKS:  :socksStatus 2 socksError 0 toReconnect 1 loopback "
               "1 ret 2",
               "[INFO ]local port : LOCAL",
               "[RET  ][7]connect (OK):\tsocket : 4\t name = 0xDESTINATION,\t namelen = 16",
               dataTrace(7, message)}));
}

TEST(Connect, WithoutAnAddressGivesTheBareAnswer) {
    const ProbeOutcome outcome = runScenario("connect", "without-address");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        joined({socketTrace(),
                {"[CALL ][2]connect \tsocket : 3", directTrace(2),
                 "[WARNI][2]connect (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t name = "
                 "0x00000000,\t namelen = 16",
                 "[CALL ][3]connect \tsocket : 3", directTrace(3),
                 "[WARNI][3]connect (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t name = "
                 "0xWRONG,\t namelen = 16",
                 "[CALL ][4]connect \tsocket : 3", directTrace(4),
                 "[WARNI][4]connect (SOCKET ERROR : 22 ????? : unknown code):\tsocket : 3\t name = "
                 "0xDESTINATION,\t namelen = 1"}}));
}

}  // namespace

}  // namespace veltra::testing
