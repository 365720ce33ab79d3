#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

TEST(Send, RecordsTheBuffer) {
    expectRecorded(
        runScenario("streamSend", "send"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="GET /\x0d&#x0a;" length_U4="7"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[RET  ][3]send (OK):\tsocket : 3\t len = 7,\t flags = 0,\t buf = 0xBUFFER \"GET /\r",
         "\""});
}

TEST(Send, EscapesWhatIsNotPlainText) {
    std::string escaped;
    const char* const digits = "0123456789abcdef";
    const auto twoDigits = [&](int i) { return std::string{digits[i / 16], digits[i % 16]}; };
    for (int i = 0; i < 256; ++i) {
        if (i == 0x09 || i == 0x0A || i == 0x22 || i == 0x26 || i == 0x3C) {
            escaped += "&#x" + twoDigits(i) + ";";
        } else if (i == 0x5C) {
            escaped += "\\\\";
        } else if (i < 0x20 || i > 0x7E) {
            escaped += "\\x" + twoDigits(i);
        } else {
            escaped += static_cast<char>(i);
        }
    }
    expectRecorded(
        runScenario("streamSend", "send-every-byte"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS=")" + escaped +
            R"(" length_U4="100"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[RET  ][3]send (OK):\tsocket : 3\t len = 256,\t flags = 0,\t buf = 0xBUFFER \"\""});
}

TEST(Send, OfNothingHasNoData) {
    expectRecorded(
        runScenario("streamSend", "send-nothing"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_U4="0"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[RET  ][3]send (OK):\tsocket : 3\t len = 0,\t flags = 0,\t buf = 0xBUFFER \"unsent\""});
}

TEST(Send, TracesTheTextBeyondTheLengthButDoesNotRecordIt) {
    expectRecorded(
        runScenario("streamSend", "send-part-of-text"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="only this" length_U4="9"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[RET  ][3]send (OK):\tsocket : 3\t len = 9,\t flags = 64,\t buf = 0xBUFFER \"only "
         "this|not this\""});
}

TEST(Send, OnAShutDownSocketRecordsDataAndError) {
    expectRecorded(
        runScenario("streamSend", "send-after-shutdown"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="lost" length_U4="4" error_I4="20"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[WARNI][3]send (SOCKET ERROR : 32 ????? : unknown code):\tsocket : 3\t len = 4,\t flags "
         "= 16384,\t buf = 0xBUFFER"});
}

TEST(Send, ThatIsShortRecordsTheWholeBuffer) {
    expectRecorded(
        runScenario("streamSend", "send-short"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="seven.." length_U4="7"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[RET  ][3]send (OK):\tsocket : 3\t len = 7,\t flags = 0,\t buf = 0xBUFFER \"seven..\""});
}

TEST(Send, ThatFailsRecordsTheWholeBuffer) {
    expectRecorded(
        runScenario("streamSend", "send-broken-pipe"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="a\\b" length_U4="3" error_I4="20"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[WARNI][3]send (SOCKET ERROR : 32 ????? : unknown code):\tsocket : 3\t len = 3,\t flags "
         "= 0,\t buf = 0xBUFFER"});
}

TEST(Send, OfMemoryThatCannotBeReadGivesTheBareAnswer) {
    const ProbeOutcome outcome = runScenario("streamSend", "send-unreadable");
    const std::string first =
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_U4="4" error_I4="e"/>)";
    const std::string second =
        R"(<send timestamp_I8="T" ticket_I4="4" socket_I8="3" pid_I4="PID" length_U4="4" error_I4="e"/>)";
    EXPECT_EQ(messagesAfterConnect(outcome), (Lines{first, second}));
    EXPECT_EQ(traceAfterConnect(outcome),
              (Lines{"[CALL ][3]send \tsocket : 3",
                     "[WARNI][3]send (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t len = "
                     "4,\t flags = 0,\t buf = 0xBUFFER",
                     dataTrace(3, first), "[CALL ][4]send \tsocket : 3",
                     "[WARNI][4]send (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t len = "
                     "4,\t flags = 0,\t buf = 0xNULL",
                     dataTrace(4, second)}));
}

TEST(Send, OfALengthThatIsNegativeIn32BitsHasNoData) {
    expectRecorded(
        runScenario("streamSend", "send-negative-length"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_U4="80000000" error_I4="5a"/>)",
        {"[CALL ][3]send \tsocket : 3",
         "[WARNI][3]send (SOCKET ERROR : 90 WSAEMSGSIZE : Message too long):\tsocket : 3\t len = "
         "-2147483648,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Send, OfALargeBufferIsOneMessage) {
    const ProbeOutcome outcome = runProbe(quietProbe("streamSend", "send-large"));
    std::string lines;
    for (int i = 0; i < 20000; ++i)
        lines += "&#x0a;";
    ASSERT_EQ(outcome.messages.size(), 3u);
    EXPECT_EQ(outcome.messages[2],
              R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS=")" +
                  lines + R"(" length_U4="4e20"/>)");
    EXPECT_EQ(outcome.trace, Lines{});
}

TEST(Send, OnAnUnconnectedSocketIsRecorded) {
    const ProbeOutcome outcome = runScenario("streamSend", "send-unconnected");
    const std::string message =
        R"(<send timestamp_I8="T" ticket_I4="2" socket_I8="3" pid_I4="PID" data_AS="nobody" length_U4="6" error_I4="20"/>)";
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]send \tsocket : 3",
                       "[WARNI][2]send (SOCKET ERROR : 32 ????? : unknown code):\tsocket : 3\t len "
                       "= 6,\t flags = 16384,\t buf = 0xBUFFER",
                       processTrace(), dataTrace(2, message)}}));
}

TEST(Send, OnAnIpv6SocketIsRecorded) {
    const ProbeOutcome outcome = runProbe(quietProbe("streamSend", "send-ipv6"));
    EXPECT_EQ(
        outcome.messages,
        (Lines{
            processMessage,
            R"(<send timestamp_I8="T" ticket_I4="2" socket_I8="3" pid_I4="PID" data_AS="nobody" length_U4="6" error_I4="20"/>)"}));
}

TEST(Write, RecordsTheBuffer) {
    expectRecorded(
        runScenario("streamSend", "write"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="&#x3c;a href=&#x22;b&#x26;c&#x22;>&#x09;" length_U4="f"/>)",
        {"[CALL ][3]write \tsocket : 3",
         "[RET  ][3]write (OK):\tsocket : 3\t count = 15,\t buf = 0xBUFFER \"<a "
         "href=\"b&c\">\t\""});
}

TEST(Write, OfNothingHasNoData) {
    expectRecorded(
        runScenario("streamSend", "write-nothing"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_U4="0"/>)",
        {"[CALL ][3]write \tsocket : 3",
         "[RET  ][3]write (OK):\tsocket : 3\t count = 0,\t buf = 0xBUFFER \"unsent\""});
}

TEST(Write, ThatFailsRecordsTheWholeBuffer) {
    expectRecorded(
        runScenario("streamSend", "write-fails"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="lost" length_U4="4" error_I4="68"/>)",
        {"[CALL ][3]write \tsocket : 3",
         "[WARNI][3]write (SOCKET ERROR : 104 WSAECONNRESET : Connection reset by peer):\tsocket : "
         "3\t count = 4,\t buf = 0xBUFFER"});
}

TEST(Write, ThatIsShortRecordsTheWholeBuffer) {
    expectRecorded(
        runScenario("streamSend", "write-short"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="seven.." length_U4="7"/>)",
        {"[CALL ][3]write \tsocket : 3",
         "[RET  ][3]write (OK):\tsocket : 3\t count = 7,\t buf = 0xBUFFER \"seven..\""});
}

TEST(Write, OfMemoryThatCannotBeReadGivesTheBareAnswer) {
    expectRecorded(
        runScenario("streamSend", "write-unreadable"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_U4="4" error_I4="e"/>)",
        {"[CALL ][3]write \tsocket : 3",
         "[WARNI][3]write (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t count = 4,\t buf "
         "= 0x00000000"});
}

TEST(Sendmsg, RecordsTheBuffersAsOne) {
    expectRecorded(
        runScenario("streamSend", "sendmsg"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="GET /&#x0a;" length_I4="6"/>)",
        {"[CALL ][3]sendmsg \tsocket : 3",
         "[RET  ][3]sendmsg (OK):\tsocket : 3\t \t buf = 0xHEADER "});
}

TEST(Sendmsg, ThatFailsRecordsTheWholeBuffers) {
    expectRecorded(
        runScenario("streamSend", "sendmsg-fails"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="GET /&#x0a;" length_I4="6" error_I4="68"/>)",
        {"[CALL ][3]sendmsg \tsocket : 3",
         "[WARNI][3]sendmsg (SOCKET ERROR : 104 WSAECONNRESET : Connection reset by peer):\tsocket "
         ": 3\t buf = 0xHEADER"});
}

TEST(Sendmsg, ThatIsShortRecordsTheWholeBuffers) {
    expectRecorded(
        runScenario("streamSend", "sendmsg-short"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="GET /&#x0a;" length_I4="6"/>)",
        {"[CALL ][3]sendmsg \tsocket : 3",
         "[RET  ][3]sendmsg (OK):\tsocket : 3\t \t buf = 0xHEADER "});
}

TEST(Sendmsg, OfNoBuffersHasEmptyDataAndOfNoArrayNone) {
    const ProbeOutcome outcome = runProbe(quietProbe("streamSend", "sendmsg-no-buffers"));
    ASSERT_EQ(outcome.messages.size(), 4u);
    EXPECT_EQ(
        outcome.messages[2],
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="" length_I4="0"/>)");
    EXPECT_EQ(outcome.messages[3],
              R"(<send timestamp_I8="T" ticket_I4="4" socket_I8="3" pid_I4="PID" length_I4="0"/>)");
}

TEST(Sendmsg, WithoutAHeaderGivesTheBareAnswer) {
    expectRecorded(
        runScenario("streamSend", "sendmsg-unreadable"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_I4="0" error_I4="e"/>)",
        {"[CALL ][3]sendmsg \tsocket : 3",
         "[WARNI][3]sendmsg (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t buf = "
         "0x00000000"});
}

TEST(Sendmsg, OfABufferThatCannotBeReadRecordsItsLength) {
    expectRecorded(
        runScenario("streamSend", "sendmsg-unreadable-buffer"),
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" length_I4="4" error_I4="e"/>)",
        {"[CALL ][3]sendmsg \tsocket : 3",
         "[WARNI][3]sendmsg (SOCKET ERROR : 14 ????? : unknown code):\tsocket : 3\t buf = "
         "0xHEADER"});
}

TEST(SendingCalls, OnUnknownDescriptorsLeaveNoTraceAndNoMessage) {
    const ProbeOutcome outcome = runScenario("streamSend", "unknown-descriptors");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome), Lines{});
}

TEST(SendingCalls, OnLocalSocketsLeaveNoTraceAndNoMessage) {
    const ProbeOutcome outcome = runScenario("streamSend", "local-socket");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}));
}

TEST(SendingCalls, OnDatagramSocketsAreTracedOnly) {
    const ProbeOutcome outcome = runScenario("streamSend", "datagram-socket");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
               "protocol = (0)IPPROTO_UDP",
               "[CALL ][2]connect \tsocket : 3", "[INFO ]local port : LOCAL",
               "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
               "[CALL ][3]send \tsocket : 3",
               "[RET  ][3]send (OK):\tsocket : 3\t len = 4,\t flags = 0,\t buf = 0xBUFFER \"text\"",
               "[INFO ][3]send on 3 not logged (UDPSOCKET)", "[CALL ][4]write \tsocket : 3",
               "[RET  ][4]write (OK):\tsocket : 3\t count = 4,\t buf = 0xBUFFER \"text\"",
               "[INFO ][4]write on 3 not logged (UDPSOCKET)", "[CALL ][5]sendmsg \tsocket : 3",
               "[RET  ][5]sendmsg (OK):\tsocket : 3\t \t buf = 0xHEADER ",
               "[INFO ][5]sendmsg on 3 not logged (UDPSOCKET)"}));
}

}  // namespace

}  // namespace veltra::testing
