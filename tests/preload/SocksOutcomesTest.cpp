#include <gtest/gtest.h>

#include "SocksText.h"

namespace veltra::testing {

namespace {

// A connect that fails on its way through the server.
ProbeOutcome runThrough(const SocksServer& server) {
    return runThrough(throughServer(server.port(), "socks", "connect"));
}

// The trace of a connect whose socket the agent has closed because the exchange failed.
Lines directConnectTrace(const std::string& socksError, const std::string& message) {
    return joined({{"[ERROR]bad handshake on socks server", stars,
                    "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 3 socksError " + socksError +
                        " toReconnect 1 loopback 0 ret 3",
                    unlockTrace,
                    "[WARNI][2]connect (SOCKET ERROR : 9 ????? : unknown code):\tsocket : 3\t "
                    "name = 0xDESTINATION,\t namelen = 16",
                    processTrace(), dataTrace(2, message)},
                   failedClose()});
}

struct Refusal {
    int reply;
    const char* recorded;
};

constexpr Refusal refusals[] = {{1, "6f"}, {2, "6f"}, {3, "65"}, {4, "71"}, {5, "6f"},
                                {6, "6e"}, {7, "5f"}, {8, "63"}, {9, "67"}, {255, "67"}};

// The error code is one and the same; the message says which refusal it was.
TEST(SocksOutcome, RefusalsRecordTheirOwnError) {
    for (const auto& [reply, recorded] : refusals) {
        SCOPED_TRACE(reply);
        SocksServer server({socksAcceptance, {socksIpv4Request, bytes(5, reply)}});
        const ProbeOutcome outcome = runThrough(server);
        EXPECT_EQ(outcome.output, failedOutput(111));
        const std::string error = std::string(" error_I4=\"") + recorded + "\"";
        EXPECT_EQ(outcome.messages,
                  (Lines{processMessage, connectMessageWith("", toDestination + error)}));
    }
}

TEST(SocksOutcome, ResetInTheReplyClosesTheSocketAndConnectsThat) {
    SocksServer server({socksAcceptance, {socksIpv4Request, ""}}, SocksEnding::reset);
    const ProbeOutcome outcome = runThrough(server);
    EXPECT_EQ(outcome.output, failedOutput(9));
    const std::string message =
        connectMessageWith(R"(sockserror_I4="68" )", toDestination + R"( error_I4="9")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    Lines request = requestTrace();
    request.back() =
        "[ERROR]failed to receive protocol version (SOCKET ERROR : 104 WSAECONNRESET : Connection "
        "reset by peer)";
    EXPECT_EQ(rest(outcome.trace, beginTrace(server.port())),
              joined({greetingTrace(), request, directConnectTrace("104", message)}));
}

TEST(SocksOutcome, MalformedReplyClosesTheSocketAndConnectsThat) {
    SocksServer server({socksAcceptance, {socksIpv4Request, bytes(5, 0, 0, 3)}});
    const ProbeOutcome outcome = runThrough(server);
    EXPECT_EQ(outcome.output, failedOutput(9));
    const std::string message =
        connectMessageWith(R"(sockserror_I4="5d" )", toDestination + R"( error_I4="9")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(rest(outcome.trace, beginTrace(server.port())),
              joined({greetingTrace(),
                      requestTrace(),
                      {"[INFO ]recv connect status OK : 00 ", "[INFO ]Request succeeded",
                       "[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 03 ",
                       "[ERROR]Domain name address (unsupported)"},
                      directConnectTrace("93", message)}));
}

// No direct connect then: the connect fails without an error code, which counts as a success.
TEST(SocksOutcome, SocketThatCannotBeClosedIsNotConnectedAnyMore) {
    SocksServer server({{3, bytes(5, 0xFF)}});
    const ProbeOutcome outcome = runThrough(throughServer(server.port(), "socks", "close-fails"));
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "connect: -1 errno 0", "close: 0 errno 77"}));
    const std::string message = connectMessageWith(R"(localport_I4="LOCAL" sockserror_I4="5d" )",
                                                   toDestination + R"( error_I4="0")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, closeMessage("3")}));
    EXPECT_EQ(rest(outcome.trace, beginTrace(server.port())),
              joined({greetingTrace(),
                      {"[INFO ]recv selected method OK : 05 FF ",
                       "[ERROR]unexpected received message from server",
                       "[ERROR]Socks connect failed (wrong handshake)",
                       "[ERROR]bad handshake on socks server", stars,
                       "[ERROR]error closing socks socket : 9 ????? : unknown code",
                       "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 3 socksError 93 toReconnect "
                       "0 loopback 0 ret -1",
                       unlockTrace, "[INFO ]local port : LOCAL",
                       "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      closeTrace(3, "3")}));
}

TEST(SocksOutcome, ConnectThatIsStillGoingOnTakesTheWholeTimeOutAndThenTheDirectWay) {
    const RefusingPort port;
    ProbeSettings settings = throughServer(port.number(), "socks", "pending");
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_MAX_TIMEOUT"] = "1";
    const ProbeOutcome outcome = runThrough(settings);
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "connect: 0 errno 77", "close: 0 errno 77"}));
    const std::string message =
        connectMessageWith(R"(localport_I4="LOCAL" sockserror_I4="6e" )",
                           R"(family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, closeMessage("3")}));
    EXPECT_EQ(rest(outcome.trace, beginTrace(port.number())),
              joined({{"[ERROR]connect() timeout expired (0)",
                       "[ERROR]Socks connect failed (socks server unreachable)",
                       "[ERROR]connect failed on SOCKS server", stars,
                       "[WARNI][2]SocksConnect (SOCKS:  :socksStatus -1 socksError 110 "
                       "toReconnect 1 loopback 0 ret -1",
                       unlockTrace, "[INFO ]local port : LOCAL",
                       "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
                       processTrace(), dataTrace(2, message)},
                      closeTrace(3, "3")}));
}

// A probe with a SOCKS server for IPv6 alone.
ProbeSettings throughIpv6Server(std::uint16_t port, const std::string& scenario) {
    ProbeSettings settings = probe("socks", scenario);
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_IPV6_ADDRESS"] = "::1";
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV6"] = std::to_string(port);
    return settings;
}

Lines ipv6StartUpTrace(std::uint16_t port) {
    const std::string number = std::to_string(port);
    return {startUpTrace().front(),
            "[INFO ]**********************",
            "[INFO ]** SocksMode active **",
            "[INFO ]**********************",
            "[INFO ]Socks server IPV4 IP : (null)",
            "[INFO ]Socks server IPV6 IP : ::1",
            "[INFO ]Socks server IPV4 Port : 0",
            "[INFO ]Socks server IPV6 Port : " + number,
            "[INFO ]===> WSAStartup : starting to resolve local addresses",
            "[ERROR]Bad host lookup",
            "[INFO ]===> retrieving socks server info",
            "[INFO ]===> IPV4 val is NULL...",
            "[INFO ]===> IPV6 socks : ::1(" + number + ")",
            "[INFO ]===> WSAStartup : local addresses solved"};
}

Lines ipv6HandShakeTrace(std::uint16_t port) {
    return {"[CALL ][2]connect \tsocket : 3",
            lockTrace,
            "[INFO ]**************** starting socks connection ******************",
            "[INFO ]* socks server : (null) (0)",
            "[INFO ]* socks server : ::1 (" + std::to_string(port) + ")",
            "[INFO ]************************",
            "[INFO ]** starting handshake **",
            "[INFO ]************************"};
}

TEST(SocksOutcome, Ipv6DestinationsHaveAServerOfTheirOwn) {
    const std::string reply = bytes(5, 0, 0, 4) + std::string(15, '\0') + bytes(0xAB, 0xFF, 0xFE);
    SocksServer server({socksAcceptance, {socksIpv6Request, reply}}, SocksEnding::listen, AF_INET6);
    const ProbeOutcome outcome = runThrough(throughIpv6Server(server.port(), "ipv6"));
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "connect: 0 errno 0", "getpeername: 0 errno 77",
                     "peer is the destination: 1", "close: 0 errno 77"}));
    EXPECT_EQ(server.received(), socksGreeting + bytes(5, 1, 0, 4, 0x20, 1, 0x0D, 0xB8, 0, 0, 0, 0,
                                                       0, 0, 0, 0, 0, 0x12, 0, 7, 1, 0xBB));
    const std::string message =
        connectMessageWith(R"(localport_I4="LOCAL" sockserror_I4="0" )",
                           R"(family_AS="AF_CCITT" ip_AS="2001:db8:0:0:0:0:12:7" port_I4="1bb")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, closeMessage("3")}));
    const std::string port = std::to_string(server.port());
    Lines socket = socketTrace();
    socket.back() =
        "[RET  ][1]socket (OK):\tsocket : 3\t af = (10)AF_INET6,\t type = (1)SOCK_STREAM,\t "
        "protocol = (0)IPPROTO_TCP";
    EXPECT_EQ(
        rest(outcome.trace,
             joined({ipv6StartUpTrace(server.port()), socket, ipv6HandShakeTrace(server.port())})),
        joined(
            {{"[INFO ]==> Connecting socket IPV6 : ", "[INFO ]\t familly : AF_CCITT 10",
              "[INFO ]\t port : " + port, "[INFO ]\t flowinfo : 0", "[INFO ]\t scope_id : 0",
              "[INFO ]\t sin6_addr.u.Byte : [00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 ]",
              "[INFO ]\t sin6_addr.u.Word : [0000 0000 0000 0000 0000 0000 0000 0001 ]"},
             greetingTrace(),
             {"[INFO ]recv selected method OK : 05 00 ",
              "[INFO ]***************************",
              "[INFO ]** handshake successfull **",
              "[INFO ]***************************",
              "[INFO ]****************************",
              "[INFO ]** starting socks request **",
              "[INFO ]****************************",
              "[INFO ]* socks server request IPV6 2001:db8:0:0:0:0:12:7(443)",
              "[INFO ]Client request : "
              "[0x05,0x01,0x00,0x04,0x20,0x01,0x0D,0xB8,0x00,0x00,0x00,0x00,0x00,0x00,0x00,0x00,"
              "0x00,0x12,0x00,0x07,0x01,0xBB]",
              "[INFO ]send client request OK",
              "[INFO ]==> Waiting server reply",
              "[INFO ]recv protocol version OK : 05 ",
              "[INFO ]recv connect status OK : 00 ",
              "[INFO ]Request succeeded",
              "[INFO ]recv reserved field OK : 00 ",
              "[INFO ]recv format OK : 04 ",
              "[INFO ]recv redirect IPV6 address OK : 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "AB ",
              "[INFO ]recv redirect port OK : FF FE ",
              "[INFO ]* socks server routed  (65534)",
              "[INFO ]*******************************",
              "[INFO ]** socks request successfull **",
              "[INFO ]*******************************",
              "[INFO ]SOCK connect worked fine",
              stars,
              "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 1 socksError 0 toReconnect 0 loopback "
              "0 ret 0",
              unlockTrace,
              "[INFO ]local port : LOCAL",
              "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 28",
              processTrace(),
              dataTrace(2, message),
              "[CALL ]getpeername socket : 3",
              "[RET  ]getpeername"},
             closeTrace(3, "3")}));
}

// There is no server for IPv4, so the socket is connected to nowhere, and sending the greeting
// would end the program with a signal.
TEST(SocksOutcome, WithAServerForTheOtherFamilyOnlyTheHandShakeFails) {
    SocksServer server({socksAcceptance}, SocksEnding::listen, AF_INET6);
    const ProbeOutcome outcome = runThrough(throughIpv6Server(server.port(), "connect"));
    EXPECT_FALSE(server.hasClient());
    EXPECT_EQ(outcome.output, failedOutput(9));
    const std::string message =
        connectMessageWith(R"(sockserror_I4="20" )", toDestination + R"( error_I4="9")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message}));
    EXPECT_EQ(rest(outcome.trace, joined({ipv6StartUpTrace(server.port()), socketTrace(),
                                          ipv6HandShakeTrace(server.port())})),
              joined({{"[INFO ]==> Connecting socket IPV4", "[INFO ]connect() done on SOCKS server",
                       "[INFO ]==> Sending supported authentification methods",
                       "[ERROR]failed to send client greeting (SOCKET ERROR : 32 ????? : unknown "
                       "code)",
                       "[ERROR]Socks connect failed (wrong handshake)"},
                      directConnectTrace("32", message)}));
}

TEST(SocksOutcome, DescriptorThatIsNotKnownIsConnectedDirectly) {
    SocksServer server({socksAcceptance});
    const ProbeOutcome outcome = runProbe(throughServer(server.port(), "connect", "unknown"));
    EXPECT_FALSE(server.hasClient());
    const std::string first =
        R"(<connect localport_I4="LOCAL" sockserror_I4="0" pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="65" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)";
    const std::string second =
        R"(<connect sockserror_I4="0" pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="ffffffffffffffff" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER" error_I4="9"/>)";
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(rest(outcome.trace, socksStartUpTrace(server.port())),
              (Lines{"[INFO ]local port : LOCAL", processTrace(), dataTrace(1, first),
                     dataTrace(2, second)}));
}

}  // namespace

}  // namespace veltra::testing
