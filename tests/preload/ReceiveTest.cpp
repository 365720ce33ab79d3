#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

// A call of a connected client that leaves a trace but no message.
void expectTracedOnly(const std::string& scenario, const Lines& trace) {
    const ProbeOutcome outcome = runScenario("streamReceive", scenario);
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{});
    EXPECT_EQ(traceAfterConnect(outcome), trace);
}

TEST(Recv, RecordsWhatArrivedUnderASecondTicket) {
    expectRecorded(
        runScenario("streamReceive", "recv"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="HTTP/1.1\x0d&#x0a;" length_I4="a"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[RET  ][3]recv (OK) :\tsocket : 3\t len = 16,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Recv, RecordsEachCallOnlyTheBytesItGot) {
    const ProbeOutcome outcome = runScenario("streamReceive", "recv-with-flags");
    const std::string peeked =
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="abcd" length_I4="4"/>)";
    const std::string received =
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="6" socket_I8="3" data_AS="abcd" length_I4="4"/>)";
    EXPECT_EQ(messagesAfterConnect(outcome), (Lines{peeked, received}));
    EXPECT_EQ(traceAfterConnect(outcome),
              (Lines{"[CALL ][3]recv \tsocket : 3",
                     "[RET  ][3]recv (OK) :\tsocket : 3\t len = 4,\t flags = 2,\t buf = 0xBUFFER",
                     dataTrace(3, peeked), "[CALL ][4]recv \tsocket : 3",
                     "[RET  ][4]recv (OK) :\tsocket : 3\t len = 4,\t flags = 256,\t buf = 0xBUFFER",
                     dataTrace(4, received)}));
}

TEST(Recv, AtTheEndRecordsTheTextThatTheBufferHeld) {
    expectRecorded(
        runScenario("streamReceive", "recv-end"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="abc" length_I4="0"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[RET  ][3]recv (OK) :\tsocket : 3\t len = 16,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Recv, AtTheEndRecordsNoMoreThanTheBuffersLength) {
    expectRecorded(
        runScenario("streamReceive", "recv-end-in-full-buffer"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="no z" length_I4="0"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[RET  ][3]recv (OK) :\tsocket : 3\t len = 4,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Recv, AtTheEndRecordsAnEmptyBufferAsEmptyData) {
    expectRecorded(
        runScenario("streamReceive", "recv-end-in-empty-buffer"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="" length_I4="0"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[RET  ][3]recv (OK) :\tsocket : 3\t len = 16,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Recv, AtTheEndIsSkippedWhenAnEarlierErrorCodeSaysNothingToRead) {
    expectTracedOnly(
        "recv-end-after-eagain",
        {"[CALL ][3]recv \tsocket : 3",
         "[RET  ][3]recv (OK) :\tsocket : 3\t len = 16,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Recv, ThatFindsNothingIsTracedOnly) {
    expectTracedOnly("recv-nothing-yet",
                     {"[CALL ][3]recv \tsocket : 3",
                      "[WARNI][3]recv (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily "
                      "unavailable) :\tsocket : 3\t len = 16,\t flags = 64,\t buf = 0xBUFFER"});
}

TEST(Recv, ThatFailsRecordsTheErrorAndNoData) {
    expectRecorded(
        runScenario("streamReceive", "recv-fails"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" length_I4="ffffffff" error_I4="68"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[WARNI][3]recv (SOCKET ERROR : 104 WSAECONNRESET : Connection reset by peer) :\tsocket : "
         "3\t len = 16,\t flags = 0,\t buf = 0xBUFFER"});
}

TEST(Recv, IntoMemoryThatCannotBeWrittenGivesTheBareAnswer) {
    expectRecorded(
        runScenario("streamReceive", "recv-unwritable"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" length_I4="ffffffff" error_I4="e"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[WARNI][3]recv (SOCKET ERROR : 14 ????? : unknown code) :\tsocket : 3\t len = 4,\t flags "
         "= 0,\t buf = 0x00000000"});
}

TEST(Recv, ThatDiscardsRecordsTheBufferAsItIs) {
    expectRecorded(
        runScenario("streamReceive", "recv-truncated"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="\x00\x00\x00\x00" length_I4="4"/>)",
        {"[CALL ][3]recv \tsocket : 3",
         "[RET  ][3]recv (OK) :\tsocket : 3\t len = 16,\t flags = 32,\t buf = 0xBUFFER"});
}

TEST(Read, RecordsWhatArrivedUnderTheTicketOfTheCall) {
    expectRecorded(
        runScenario("streamReceive", "read"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" data_AS="line&#x0a;" length_I4="5"/>)",
        {"[CALL ][3]read \tsocket : 3",
         "[RET  ][3]read (OK) :\tsocket : 3\t len = 16,\t buf = 0xBUFFER"});
}

TEST(Read, AtTheEndRecordsTheTextThatTheBufferHeld) {
    expectRecorded(
        runScenario("streamReceive", "read-end"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" data_AS="abc" length_I4="0"/>)",
        {"[CALL ][3]read \tsocket : 3",
         "[RET  ][3]read (OK) :\tsocket : 3\t len = 16,\t buf = 0xBUFFER"});
}

TEST(Read, AtTheEndIsSkippedWhenAnEarlierErrorCodeSaysNothingToRead) {
    expectTracedOnly("read-end-after-eagain",
                     {"[CALL ][3]read \tsocket : 3",
                      "[RET  ][3]read (OK) :\tsocket : 3\t len = 16,\t buf = 0xBUFFER"});
}

TEST(Read, ThatFindsNothingIsTracedOnly) {
    expectTracedOnly("read-nothing-yet",
                     {"[CALL ][3]read \tsocket : 3",
                      "[WARNI][3]read (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily "
                      "unavailable) :\tsocket : 3\t len = 16,\t buf = 0xBUFFER"});
}

TEST(Read, ThatFailsRecordsTheErrorAndNoData) {
    expectRecorded(
        runScenario("streamReceive", "read-fails"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" length_I4="ffffffff" error_I4="4"/>)",
        {"[CALL ][3]read \tsocket : 3",
         "[WARNI][3]read (SOCKET ERROR : 4 ????? : unknown code) :\tsocket : 3\t len = 16,\t buf = "
         "0xBUFFER"});
}

TEST(Read, IntoMemoryThatCannotBeWrittenGivesTheBareAnswer) {
    expectRecorded(
        runScenario("streamReceive", "read-unwritable"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" length_I4="ffffffff" error_I4="e"/>)",
        {"[CALL ][3]read \tsocket : 3",
         "[WARNI][3]read (SOCKET ERROR : 14 ????? : unknown code) :\tsocket : 3\t len = 4,\t buf = "
         "0x00000000"});
}

TEST(Recvmsg, RecordsTheFirstBytesAcrossTheBuffers) {
    expectRecorded(
        runScenario("streamReceive", "recvmsg"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" data_AS="one two" length_I4="7"/>)",
        {"[CALL ][3]recvmsg \tsocket : 3",
         "[RET  ][3]recvmsg (OK) :\tsocket : 3\t buf = 0xHEADER"});
}

TEST(Recvmsg, AtTheEndRecordsEmptyData) {
    expectRecorded(
        runScenario("streamReceive", "recvmsg-end"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" data_AS="" length_I4="0"/>)",
        {"[CALL ][3]recvmsg \tsocket : 3",
         "[RET  ][3]recvmsg (OK) :\tsocket : 3\t buf = 0xHEADER"});
}

TEST(Recvmsg, AtTheEndIsSkippedWhenAnEarlierErrorCodeSaysNothingToRead) {
    expectTracedOnly("recvmsg-end-after-eagain",
                     {"[CALL ][3]recvmsg \tsocket : 3",
                      "[RET  ][3]recvmsg (OK) :\tsocket : 3\t buf = 0xHEADER"});
}

TEST(Recvmsg, ThatFindsNothingIsTracedOnly) {
    expectTracedOnly("recvmsg-nothing-yet",
                     {"[CALL ][3]recvmsg \tsocket : 3",
                      "[WARNI][3]recvmsg (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily "
                      "unavailable) :\tsocket : 3\t buf = 0xHEADER"});
}

TEST(Recvmsg, ThatFailsRecordsEveryBufferInFull) {
    expectRecorded(
        runScenario("streamReceive", "recvmsg-fails"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" data_AS="old.buffers." length_I4="ffffffff" error_I4="68"/>)",
        {"[CALL ][3]recvmsg \tsocket : 3",
         "[WARNI][3]recvmsg (SOCKET ERROR : 104 WSAECONNRESET : Connection reset by peer) "
         ":\tsocket : 3\t buf = 0xHEADER"});
}

TEST(Recvmsg, WithoutAHeaderGivesTheBareAnswer) {
    expectRecorded(
        runScenario("streamReceive", "recvmsg-unwritable"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" length_I4="ffffffff" error_I4="e"/>)",
        {"[CALL ][3]recvmsg \tsocket : 3",
         "[WARNI][3]recvmsg (SOCKET ERROR : 14 ????? : unknown code) :\tsocket : 3\t buf = "
         "0x00000000"});
}

TEST(Recvmsg, IntoConstantMemoryFailsAndIsNotReadAfterwards) {
    expectRecorded(
        runScenario("streamReceive", "recvmsg-into-constants"),
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3" length_I4="ffffffff" error_I4="e"/>)",
        {"[CALL ][3]recvmsg \tsocket : 3",
         "[WARNI][3]recvmsg (SOCKET ERROR : 14 ????? : unknown code) :\tsocket : 3\t buf = "
         "0xHEADER"});
}

TEST(ReceivingCalls, OnUnknownDescriptorsLeaveNoTraceAndNoMessage) {
    const ProbeOutcome outcome = runScenario("streamReceive", "unknown-descriptors");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome), Lines{});
}

TEST(ReceivingCalls, OnLocalSocketsLeaveNoTraceAndNoMessage) {
    const ProbeOutcome outcome = runScenario("streamReceive", "local-socket");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}));
}

TEST(ReceivingCalls, OnDatagramSocketsAreTracedOnly) {
    const std::string error =
        " (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily unavailable) ";
    const ProbeOutcome outcome = runScenario("streamReceive", "datagram-socket");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]socket ",
               "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (2)SOCK_DGRAM,\t "
               "protocol = (0)IPPROTO_UDP",
               "[CALL ][2]recv \tsocket : 3",
               "[WARNI][2]recv" + error + ":\tsocket : 3\t len = 3,\t flags = 64,\t buf = 0xBUFFER",
               "[INFO ][2]recv on 3 not logged (UDPSOCKET)", "[CALL ][3]read \tsocket : 3",
               "[WARNI][3]read" + error + ":\tsocket : 3\t len = 3,\t buf = 0xBUFFER",
               "[INFO ][3]read on 3 not logged (UDPSOCKET)", "[CALL ][4]recvmsg \tsocket : 3",
               "[WARNI][4]recvmsg" + error + ":\tsocket : 3\t buf = 0xHEADER",
               "[INFO ][4]recvmsg on 3 not logged (UDPSOCKET)"}));
}

}  // namespace

}  // namespace veltra::testing
