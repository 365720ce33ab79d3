#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

std::string sent(const std::string& ticket, const std::string& attributes) {
    return R"(<send timestamp_I8="T" ticket_I4=")" + ticket +
           R"(" socket_I8="3" pid_I4="PID" data_AS="hello" length_U4="5")" + attributes + "/>";
}

std::string received(const std::string& attributes, const std::string& socket = "3") {
    return R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8=")" + socket +
           R"(" data_AS="hello" length_I4="5" )" + attributes + "/>";
}

Lines sendTrace(const std::string& call) {
    return {
        "[CALL ][" + call + "]sendto \tsocket : 3",
        "[RET  ][" + call + "]sendto (OK):\tsocket : 3\t len = 5,\t flags = 0,\t buf = 0xBUFFER"};
}

Lines receiveTrace(const std::string& length) {
    return {"[CALL ][3]recvfrom \tsocket : 3",
            "[RET  ][3]recvfrom (OK) :\tsocket : 3\t len = 5,\t flags = 0,\t buf = 0xBUFFER\t from "
            "= 0xAREA\t fromlen " +
                length};
}

TEST(SendTo, OnAStreamRecordsTheDestination) {
    const ProbeOutcome outcome = runScenario("datagram", "stream-send");
    const std::string first = sent("3", R"( family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35")");
    const std::string second =
        sent("4", R"( family_AS="AF_CCITT" ip_AS="2001:db8:0:0:0:0:0:1" port_I4="1f90")");
    EXPECT_EQ(messagesAfterConnect(outcome), (Lines{first, second}));
    EXPECT_EQ(
        traceAfterConnect(outcome),
        joined({sendTrace("3"), {dataTrace(3, first)}, sendTrace("4"), {dataTrace(4, second)}}));
}

TEST(SendTo, OnAStreamWithoutADestinationRecordsNoAddress) {
    const ProbeOutcome outcome = runScenario("datagram", "stream-send-to-nobody");
    const std::string first = sent("3", "");
    const std::string second = sent("4", R"( error_I4="20")");
    EXPECT_EQ(messagesAfterConnect(outcome), (Lines{first, second}));
    EXPECT_EQ(traceAfterConnect(outcome),
              (Lines{"[CALL ][3]sendto \tsocket : 3",
                     "[RET  ][3]sendto (OK):\tsocket : 3\t len = 5,\t flags = 16384,\t buf = "
                     "0xBUFFER",
                     dataTrace(3, first), "[CALL ][4]sendto \tsocket : 3",
                     "[WARNI][4]sendto (SOCKET ERROR : 32 ????? : unknown code):\tsocket : 3\t len "
                     "= 5,\t flags = 16384,\t buf = 0xBUFFER",
                     dataTrace(4, second)}));
}

// The system gives no address for a stream: what the area held before is recorded.
const char* const addressBefore = R"(family_AS="AF_INET" ip_AS="192.0.2.7" port_I4="7")";

TEST(ReceiveFrom, OnAStreamRecordsTheAreaForTheAddress) {
    for (const std::string scenario : {"stream-receive", "stream-receive-short"}) {
        expectRecorded(runScenario("datagram", scenario), received(addressBefore),
                       receiveTrace("0"));
    }
}

// Without the agent the system answers that there is no place for the length.
TEST(ReceiveFrom, WithoutALengthSucceeds) {
    const ProbeOutcome outcome = runWithAgent(probe("datagram", "stream-receive-without-length"));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "connect: 0 errno 77",
                                     "recvfrom: 5 errno 77", "received: hello"}));
    expectRecorded(outcome, received(addressBefore), receiveTrace("0"));
}

TEST(ReceiveFrom, WithoutAnAreaRecordsAnEmptyAddress) {
    const ProbeOutcome outcome = runProbe(quietProbe("datagram", "stream-receive-without-area"));
    ASSERT_EQ(outcome.messages.size(), 3U);
    EXPECT_EQ(outcome.messages[2], received(R"(family_AS="AF_UNSPEC")", "3"));
}

TEST(ReceiveFrom, ThatFindsNothingIsNotRecorded) {
    const ProbeOutcome outcome = runScenario("datagram", "stream-receive-nothing");
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{});
    EXPECT_EQ(
        traceAfterConnect(outcome),
        (Lines{"[CALL ][3]recvfrom \tsocket : 3",
               "[WARNI][3]recvfrom (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily "
               "unavailable) :\tsocket : 3\t len = 5,\t flags = 64,\t buf = 0xBUFFER\t from = "
               "0xAREA\t fromlen 28"}));
}

TEST(ReceiveFrom, AtTheEndOfTheStreamIsRecorded) {
    expectRecorded(
        runScenario("datagram", "stream-end"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" data_AS="" length_I4="0" family_AS="AF_INET" ip_AS="192.0.2.7" port_I4="7"/>)",
        receiveTrace("0"));
}

Lines datagramTrace(const std::string& family, const std::string& peerLength) {
    return {
        "[CALL ][1]socket ",
        "[RET  ][1]socket (OK):\tsocket : 3\t af = " + family +
            ",\t type = (2)SOCK_DGRAM,\t protocol = (0)IPPROTO_UDP",
        "[CALL ][2]sendto \tsocket : 3",
        "[RET  ][2]sendto (OK):\tsocket : 3\t len = 5,\t flags = 0,\t buf = 0xBUFFER",
        "[INFO ][2]sendto on 3 not logged (UDPSOCKET)",
        "[CALL ][3]recvfrom \tsocket : 3",
        "[RET  ][3]recvfrom (OK) :\tsocket : 3\t len = 5,\t flags = 0,\t buf = 0xBUFFER\t from = "
        "0xAREA\t fromlen " +
            peerLength,
        "[INFO ][3]recvfrom on 3 not logged (UDPSOCKET)",
    };
}

TEST(Datagrams, AreTracedAndNotRecorded) {
    const ProbeOutcome outcome = runScenario("datagram", "datagrams");
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "sendto: 5 errno 77", "arrived: hello",
                     "recvfrom: 5 errno 77", "received: hello", "length: 16"}));
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome), datagramTrace("(2)AF_INET", "16"));
}

TEST(Datagrams, OfIpv6AreTracedAndNotRecorded) {
    const ProbeOutcome outcome = runScenario("datagram", "datagrams-ipv6");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome), datagramTrace("(10)AF_INET6", "28"));
}

// The address that is handed on has no length, which the system refuses.
TEST(Datagrams, OfAConnectedSocketNeedADestination) {
    const ProbeOutcome outcome = runWithAgent(probe("datagram", "connected-datagram"));
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "sendto: -1 errno 22"}));
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = "
                     "(2)SOCK_DGRAM,\t protocol = (0)IPPROTO_UDP",
                     "[CALL ][2]sendto \tsocket : 3",
                     "[WARNI][2]sendto (SOCKET ERROR : 22 ????? : unknown code):\tsocket : 3\t len "
                     "= 5,\t flags = 16384,\t buf = 0xBUFFER",
                     "[INFO ][2]sendto on 3 not logged (UDPSOCKET)"}));
}

TEST(Datagrams, OfUnknownSocketsLeaveNothing) {
    const ProbeOutcome outcome = runScenario("datagram", "unknown");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome), Lines{});
}

}  // namespace

}  // namespace veltra::testing
