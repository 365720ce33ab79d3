#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "SocksText.h"

namespace veltra::testing {

namespace {

const std::string routedReply = bytes(5, 0, 0, 1, 192, 0, 2, 9, 0x1F, 0x90);

ProbeOutcome runThrough(const SocksServer& server, const std::string& scenario) {
    return runThrough(throughServer(server.port(), "socks", scenario));
}

Lines successTrace(const std::string& address, const std::string& port, const std::string& number) {
    return {"[INFO ]recv connect status OK : 00 ",
            "[INFO ]Request succeeded",
            "[INFO ]recv reserved field OK : 00 ",
            "[INFO ]recv format OK : 01 ",
            "[INFO ]recv redirect IPV4 address OK : " + address,
            "[INFO ]recv redirect port OK : " + port,
            "[INFO ]* socks server routed  (" + number + ")",
            "[INFO ]*******************************",
            "[INFO ]** socks request successfull **",
            "[INFO ]*******************************",
            "[INFO ]SOCK connect worked fine",
            stars,
            "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 1 socksError 0 toReconnect 0 loopback 0 "
            "ret 0",
            unlockTrace};
}

const std::string reroutedMessage =
    connectMessageWith(R"(localport_I4="LOCAL" sockserror_I4="0" )", toDestination);

// What follows the rerouting itself.
Lines connectedTail() {
    return {"[INFO ]local port : LOCAL",
            "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
            processTrace(), dataTrace(2, reroutedMessage)};
}

Lines reroutedTrace(std::uint16_t port) {
    return joined({beginTrace(port), greetingTrace(), requestTrace(),
                   successTrace("C0 00 02 09 ", "1F 90 ", "8080"), connectedTail()});
}

const SocksTurn acceptedRequest = {socksIpv4Request, routedReply};

TEST(Socks, RecordsTheDestinationAndLeavesTheDataToTheServer) {
    SocksServer server({socksAcceptance, acceptedRequest, {4, "pong"}});
    const ProbeOutcome outcome = runThrough(server, "exchange");
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "connect: 0 errno 0", "send: 4 errno 77",
                     "recv: 4 errno 77", "answer: pong", "close: 0 errno 77"}));
    EXPECT_EQ(server.received(), socksGreeting + bytes(5, 1, 0, 1, 10, 1, 2, 3, 0, 80) + "ping");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, reroutedMessage, closeMessage("5")}));
    EXPECT_EQ(
        rest(outcome.trace, reroutedTrace(server.port())),
        joined({{"[CALL ][3]send \tsocket : 3",
                 "[RET  ][3]send (OK):\tsocket : 3\t len = 4,\t flags = 0,\t buf = 0xSENT \"ping\"",
                 "[INFO ][3]send on 3 not logged (SOCKSRECORDED)", "[CALL ][4]recv \tsocket : 3",
                 "[RET  ][4]recv (OK) :\tsocket : 3\t len = 4,\t flags = 256,\t buf = 0xRECEIVED",
                 "[INFO ][4]recv on 3 not logged (SOCKSRECORDED)"},
                closeTrace(5, "5")}));
}

TEST(Socks, DoubleLoggingRecordsTheDataToo) {
    SocksServer server({socksAcceptance, acceptedRequest, {4, "pong"}});
    ProbeSettings settings = throughServer(server.port(), "socks", "exchange");
    settings.environment["VELTRA_SOCKET_AGENT_DOUBLE_LOG_SOCKS"] = "";
    const ProbeOutcome outcome = runThrough(settings);
    const std::string sent =
        R"(<send timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="ping" length_U4="4"/>)";
    const std::string received =
        R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="5" socket_I8="3" data_AS="pong" length_I4="4"/>)";
    EXPECT_EQ(outcome.messages,
              (Lines{processMessage, reroutedMessage, sent, received, closeMessage("6")}));
    EXPECT_EQ(
        rest(outcome.trace, reroutedTrace(server.port())),
        joined({{"[CALL ][3]send \tsocket : 3",
                 "[RET  ][3]send (OK):\tsocket : 3\t len = 4,\t flags = 0,\t buf = 0xSENT \"ping\"",
                 dataTrace(3, sent), "[CALL ][4]recv \tsocket : 3",
                 "[RET  ][4]recv (OK) :\tsocket : 3\t len = 4,\t flags = 256,\t buf = 0xRECEIVED",
                 dataTrace(4, received)},
                closeTrace(5, "6")}));
}

TEST(Socks, TheRoutedSocketsPeerIsTheDestination) {
    SocksServer server({socksAcceptance, acceptedRequest});
    const ProbeOutcome outcome = runThrough(server, "peer");
    const std::string nothing = " 61166 eeeeeeee eeee";
    EXPECT_EQ(
        outcome.output,
        (Lines{"socket: descriptor errno 77", "connect: 0 errno 0", "getpeername: 0 errno 77",
               "peer: 16 2 0a010203 0050", "getpeername: 0 errno 77", "peer: 16 2 0a010203 0050",
               "getpeername: 14 errno 77", "peer: 15" + nothing, "getpeername: 14 errno 77",
               "peer: 0" + nothing, "getpeername: -1 errno 14", "getpeername: -1 errno 14"}));
    Lines asked;
    for (int i = 0; i < 6; ++i) {
        asked.emplace_back("[CALL ]getpeername socket : 3");
        asked.emplace_back("[RET  ]getpeername");
    }
    EXPECT_EQ(rest(outcome.trace, reroutedTrace(server.port())), asked);
    EXPECT_EQ(outcome.messages, (Lines{processMessage, reroutedMessage}));
}

TEST(Socks, RefusalIsARefusedConnectOnAClosedSocket) {
    SocksServer server({socksAcceptance, {socksIpv4Request, bytes(5, 5)}});
    const ProbeOutcome outcome = runThrough(server, "connect");
    EXPECT_EQ(outcome.output, failedOutput(111));
    const std::string message = connectMessageWith("", toDestination + R"( error_I4="6f")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(rest(outcome.trace, beginTrace(server.port())),
              joined({greetingTrace(),
                      requestTrace(),
                      {"[INFO ]recv connect status OK : 05 ", "[ERROR]Connection refused",
                       "[ERROR]socks server can not connect to target", stars,
                       "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 4 socksError 111 toReconnect "
                       "0 loopback 0 ret -1",
                       unlockTrace,
                       "[WARNI][2]connect (SOCKET ERROR : 111 WSAECONNREFUSED : Connection "
                       "refused):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      failedClose()}));
}

TEST(Socks, FailedHandShakeClosesTheSocketAndConnectsThat) {
    SocksServer server({{3, bytes(5, 0xFF)}});
    const ProbeOutcome outcome = runThrough(server, "connect");
    EXPECT_EQ(outcome.output, failedOutput(9));
    const std::string message =
        connectMessageWith(R"(sockserror_I4="5d" )", toDestination + R"( error_I4="9")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(rest(outcome.trace, beginTrace(server.port())),
              joined({greetingTrace(),
                      {"[INFO ]recv selected method OK : 05 FF ",
                       "[ERROR]unexpected received message from server",
                       "[ERROR]Socks connect failed (wrong handshake)",
                       "[ERROR]bad handshake on socks server", stars,
                       "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 3 socksError 93 toReconnect "
                       "1 loopback 0 ret 3",
                       unlockTrace,
                       "[WARNI][2]connect (SOCKET ERROR : 9 ????? : unknown code):\tsocket : 3\t "
                       "name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      failedClose()}));
}

TEST(Socks, WithoutAServerTheConnectIsADirectOne) {
    const RefusingPort port;
    const ProbeOutcome outcome = runProbe(throughServer(port.number(), "connect", "connect"));
    const std::string message =
        connectMessageWith(R"(localport_I4="LOCAL" sockserror_I4="6f" )",
                           R"(family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, closeMessage("3")}));
    EXPECT_EQ(rest(outcome.trace, beginTrace(port.number())),
              joined({{"[ERROR]connect() failed with error code (SOCKET ERROR : 111 "
                       "WSAECONNREFUSED : Connection refused):",
                       "[ERROR]Socks connect failed (socks server unreachable)",
                       "[ERROR]connect failed on SOCKS server", stars,
                       "[WARNI][2]SocksConnect (SOCKS:  :socksStatus -1 socksError 111 "
                       "toReconnect 1 loopback 0 ret -1",
                       unlockTrace, "[INFO ]local port : LOCAL",
                       "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      closeTrace(3, "3")}));
}

TEST(Socks, APortOfThisProcessIsConnectedDirectly) {
    SocksServer server({socksAcceptance});
    const ProbeOutcome outcome = runProbe(throughServer(server.port(), "connect", "own-server"));
    EXPECT_FALSE(server.hasClient());
    const std::string message =
        R"(<connect localport_I4="LOCAL" loopback_I4="1" sockserror_I4="0" pid_I4="PID" timestamp_I8="T" ticket_I4="6" socket_I8="4" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)";
    EXPECT_EQ(outcome.messages, joined({serverMessages(), {message}}));
    const Lines listening = rest(serverTrace(), startUpTrace());
    EXPECT_EQ(
        outcome.trace,
        joined(
            {socksStartUpTrace(server.port()),
             listening,
             {"[CALL ][6]socket ",
              "[RET  ][6]socket (OK):\tsocket : 4\t af = (2)AF_INET,\t type = (1)SOCK_STREAM,\t "
              "protocol = (0)IPPROTO_TCP",
              "[CALL ][7]connect \tsocket : 4", "[INFO ][7]** locking socket : 4 **",
              "[INFO ]socks mode inactived (local loop)",
              "[WARNI][7]SocksConnect (SOCKS:  :socksStatus 2 socksError 0 toReconnect 1 loopback "
              "1 ret 2",
              "[INFO ][7]** unlocking socket : 4 **", "[INFO ]local port : LOCAL",
              "[RET  ][7]connect (OK):\tsocket : 4\t name = 0xDESTINATION,\t namelen = 16",
              dataTrace(7, message)}}));
}

TEST(Socks, OfADatagramSocketHasNothingToDoWithTheServer) {
    SocksServer server({socksAcceptance});
    const ProbeOutcome outcome = runProbe(throughServer(server.port(), "connect", "datagram"));
    EXPECT_FALSE(server.hasClient());
    EXPECT_EQ(outcome.messages, (Lines{processMessage, closeMessage("3")}));
    EXPECT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), lockTrace), 0);
}

// The threads' lines mix once the lock is released, but each thread's keep their order.
TEST(Socks, AnotherThreadsSendWaitsUntilTheExchangeIsOver) {
    ProbeSettings settings = probe("socks", "send-during-connect");
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS"] = "127.0.0.1";
    const ProbeOutcome outcome = runThrough(settings);
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "connect: 0 errno 0", "sent: 4",
                                     "arrived: 05 01 00 05 01 00 01 0a 01 02 03 00 50 late"}));
    EXPECT_EQ(outcome.messages, (Lines{processMessage, reroutedMessage}));

    const auto released = std::find(outcome.trace.begin(), outcome.trace.end(), unlockTrace);
    ASSERT_NE(released, outcome.trace.end());
    const auto waiting =
        std::find(outcome.trace.begin(), released, "[INFO ][3]** socket locked (waiting) : 3 **");
    EXPECT_EQ(Lines(waiting, std::next(released)),
              joined({{"[INFO ][3]** socket locked (waiting) : 3 **"},
                      requestTrace(),
                      successTrace("00 00 00 00 ", "00 00 ", "0")}));
    Lines sending;
    Lines connecting;
    std::partition_copy(std::next(released), outcome.trace.end(), std::back_inserter(sending),
                        std::back_inserter(connecting), [](const std::string& line) {
                            return line.find("][3]") != std::string::npos;
                        });
    EXPECT_EQ(sending, (Lines{"[INFO ][3]** socket unlocked : 3 **", "[CALL ][3]send \tsocket : 3",
                              "[RET  ][3]send (OK):\tsocket : 3\t len = 4,\t flags = 0,\t buf = "
                              "0xSENT \"late\"",
                              "[INFO ][3]send on 3 not logged (SOCKSRECORDED)"}));
    EXPECT_EQ(connecting, connectedTail());
}

}  // namespace

}  // namespace veltra::testing
