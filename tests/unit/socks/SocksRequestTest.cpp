#include "SocksRequestTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace {

using testing::IsEmpty;
using veltra::testing::bytes;
using veltra::testing::ReplacedCall;
using veltra::testing::socksAcceptance;
using veltra::testing::SocksEnding;
using veltra::testing::socksGreeting;
using veltra::testing::socksIpv4Request;
using veltra::testing::socksIpv6Request;
using veltra::testing::SocksServer;

TEST_F(SocksRequest, ConnectsToAnIpv4Destination) {
    SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
    useServer(AF_INET, server.port());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), 1);
    EXPECT_EQ(socksError, 0);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(storedDestination(), "10.1.2.3 80");
    EXPECT_EQ(
        log.takeLines(),
        replyTrace(joined(
            {{"[INFO ]recv protocol version OK : 05 ", "[INFO ]recv connect status OK : 00 ",
              "[INFO ]Request succeeded", "[INFO ]recv reserved field OK : 00 ",
              "[INFO ]recv format OK : 01 ", "[INFO ]recv redirect IPV4 address OK : C0 00 02 09 ",
              "[INFO ]recv redirect port OK : 1F 90 ", "[INFO ]* socks server routed  (8080)"},
             successTrace()})));
    closeSocket();
    EXPECT_EQ(server.received(), socksGreeting + bytes(5, 1, 0, 1, 10, 1, 2, 3, 0, 80));
}

TEST_F(SocksRequest, ConnectsToAnIpv6Destination) {
    const std::string reply = bytes(5, 0, 0, 4) + std::string(15, '\0') + bytes(0xAB, 0xFF, 0xFE);
    SocksServer server({socksAcceptance, {socksIpv6Request, reply}}, SocksEnding::listen, AF_INET6);
    useServer(AF_INET6, server.port());
    open(AF_INET6);
    EXPECT_EQ(connectTo("2001:db8:0:12ab::f", 0xFEDC), 1);
    EXPECT_EQ(socksError, 0);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(storedDestination(), "2001:db8:0:12ab::f 65244");
    EXPECT_EQ(
        log.takeLines(),
        joined(
            {startTrace(),
             ipv6ServerTrace(server.port()),
             greetingTrace(),
             acceptanceTrace(),
             {"[INFO ]****************************", "[INFO ]** starting socks request **",
              "[INFO ]****************************",
              "[INFO ]* socks server request IPV6 2001:db8:0:12ab:0:0:0:f(65244)",
              "[INFO ]Client request : "
              "[0x05,0x01,0x00,0x04,0x20,0x01,0x0D,0xB8,0x00,0x00,0x12,0xAB,0x00,0x00,0x00,0x00,"
              "0x00,0x00,0x00,0x0F,0xFE,0xDC]",
              "[INFO ]send client request OK", "[INFO ]==> Waiting server reply",
              "[INFO ]recv protocol version OK : 05 ", "[INFO ]recv connect status OK : 00 ",
              "[INFO ]Request succeeded", "[INFO ]recv reserved field OK : 00 ",
              "[INFO ]recv format OK : 04 ",
              "[INFO ]recv redirect IPV6 address OK : 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "AB ",
              "[INFO ]recv redirect port OK : FF FE ", "[INFO ]* socks server routed  (65534)"},
             successTrace()}));
    closeSocket();
    EXPECT_EQ(server.received(),
              socksGreeting + bytes(5, 1, 0, 4, 0x20, 0x01, 0x0D, 0xB8, 0, 0, 0x12, 0xAB, 0, 0, 0,
                                    0, 0, 0, 0, 0x0F, 0xFE, 0xDC));
}

struct Refusal {
    int reply;
    const char* shown;
    const char* text;
    int socksError;
    int error;
};

constexpr Refusal refusals[] = {
    {1, "01", "General SOCKS server failure", 111, 111},
    {2, "02", "Connection not allowed by ruleset", 111, 111},
    {3, "03", "Network unreachable", 101, 101},
    {4, "04", "Host unreachable", 113, 113},
    {5, "05", "Connection refused", 111, 111},
    {6, "06", "TTL expired", 110, 110},
    {7, "07", "Command not supported", 95, 111},
    {8, "08", "Address type not supported", 99, 99},
    {9, "09", "Unknown error", 103, 111},
    {127, "7F", "Unknown error", 103, 111},
    {128, "80", "Unknown error", 103, 111},
    {255, "FF", "Unknown error", 103, 111},
};

TEST_F(SocksRequest, EveryRefusalHasItsTextAndItsErrors) {
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.reply);
        SocksServer server({socksAcceptance, {socksIpv4Request, bytes(5, refusal.reply)}});
        useServer(AF_INET, server.port());
        open(AF_INET);
        EXPECT_EQ(connectTo10_1_2_3(), 4);
        EXPECT_EQ(socksError, refusal.socksError);
        EXPECT_EQ(error, refusal.error);
        EXPECT_EQ(storedDestination(), "");
        EXPECT_EQ(log.takeLines(),
                  replyTrace({"[INFO ]recv protocol version OK : 05 ",
                              std::string("[INFO ]recv connect status OK : ") + refusal.shown + " ",
                              std::string("[ERROR]") + refusal.text}));
    }
}

TEST_F(SocksRequest, ResetByTheServerIsAFailure) {
    SocksServer server({socksAcceptance, {socksIpv4Request, ""}}, SocksEnding::reset);
    useServer(AF_INET, server.port());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), 3);
    EXPECT_EQ(socksError, 104);
    EXPECT_EQ(error, 111);
    EXPECT_EQ(log.takeLines(),
              replyTrace({"[ERROR]failed to receive protocol version (SOCKET ERROR : 104 "
                          "WSAECONNRESET : Connection reset by peer)"}));
}

ssize_t sendOfTheGreetingAlone(int fd, const void* buffer, std::size_t length, int flags) {
    EXPECT_EQ(flags, 0);
    if (length == socksGreeting.size()) return ::send(fd, buffer, length, flags);
    EXPECT_EQ(length, socksIpv4Request);
    errno = ENOBUFS;
    return -1;
}

TEST_F(SocksRequest, ThatCannotBeSentIsAFailure) {
    const ReplacedCall<send_function> sendCall(send_ptr, &sendOfTheGreetingAlone);
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), 3);
    EXPECT_EQ(socksError, 105);
    EXPECT_EQ(error, 111);
    Lines request = requestTrace();
    request.resize(5);
    EXPECT_EQ(log.takeLines(), joined({ipv4HandShakeTrace(),
                                       request,
                                       {"[ERROR]failed to send client request (SOCKET ERROR : 105 "
                                        "WSAENOBUFS : No buffer space available)"}}));
}

TEST_F(SocksRequest, ShortSendIsNotNoticed) {
    SocksServer server({socksAcceptance, {4, routedReply}});
    const ReplacedCall<send_function> sendCall(
        send_ptr, [](int fd, const void* buffer, std::size_t length, int flags) {
            return ::send(fd, buffer, std::min<std::size_t>(length, 4), flags);
        });
    useServer(AF_INET, server.port());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), 1);
    closeSocket();
    EXPECT_EQ(server.received(), socksGreeting + bytes(5, 1, 0, 1));
}

TEST_F(SocksRequest, AfterAWrongHandShakeIsNotMade) {
    SocksServer server({{3, bytes(5, 0xFF)}});
    useServer(AF_INET, server.port());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), 3);
    EXPECT_EQ(socksError, 93);
    EXPECT_EQ(error, 111);
    EXPECT_EQ(log.takeLines(), joined({startTrace(),
                                       ipv4ServerTrace(),
                                       greetingTrace(),
                                       {"[INFO ]recv selected method OK : 05 FF ",
                                        "[ERROR]unexpected received message from server",
                                        "[ERROR]Socks connect failed (wrong handshake)"}}));
    closeSocket();
    EXPECT_EQ(server.received(), socksGreeting);
}

TEST_F(SocksRequest, WithoutAServerIsNotMade) {
    const veltra::testing::RefusingPort port;
    useServer(AF_INET, port.number());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), -1);
    EXPECT_EQ(socksError, 111);
    EXPECT_EQ(error, 111);
    EXPECT_EQ(log.takeLines(),
              joined({startTrace(),
                      ipv4ServerTrace(),
                      {"[ERROR]connect() failed with error code (SOCKET ERROR : 111 "
                       "WSAECONNREFUSED : Connection refused):",
                       "[ERROR]Socks connect failed (socks server unreachable)"}}));
}

// A connect that the client has no business with: nothing is traced, written or sent.
class NotApplicable : public SocksRequest {
protected:
    NotApplicable() { useServer(AF_INET, server_.port()); }

    void expectNothing(int result) {
        EXPECT_EQ(result, 0);
        EXPECT_EQ(socksError, 55);
        EXPECT_EQ(error, 77);
        EXPECT_FALSE(server_.hasClient());
        EXPECT_THAT(log.takeLines(), IsEmpty());
    }

private:
    SocksServer server_{{socksAcceptance}};
};

TEST_F(NotApplicable, OutsideSocksMode) {
    socksModeActive.store(0);
    open(AF_INET);
    expectNothing(connectTo10_1_2_3());
}

TEST_F(NotApplicable, ToADatagramSocket) {
    open(AF_INET, SOCK_DGRAM);
    expectNothing(connectTo10_1_2_3());
}

TEST_F(NotApplicable, ToADestinationOfAnotherFamily) {
    open(AF_INET);
    expectNothing(connectTo("", 80));
}

TEST_F(NotApplicable, ToAnUnknownSocket) {
    closeSocket();
    expectNothing(connectTo10_1_2_3());
}

TEST_F(NotApplicable, WithoutADestination) {
    open(AF_INET);
    socksError = 55;
    errno = 77;
    const int result = SocksConnect(record(), nullptr, 16, socksError);
    error = errno;
    expectNothing(result);
}

TEST_F(SocksRequest, ToAPortOfThisProcessIsALocalLoopInEveryMode) {
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    createBindedPortMemo(7, 8080);
    for (const int mode : {0, 1}) {
        socksModeActive.store(mode);
        open(AF_INET);
        EXPECT_EQ(connectTo("127.0.0.1", 8080), 2);
        EXPECT_EQ(connectTo("::1", 8080), 2);
        EXPECT_EQ(socksError, 55);
        EXPECT_EQ(error, 77);
        EXPECT_EQ(log.takeLines(), Lines(2, "[INFO ]socks mode inactived (local loop)"));
    }
    EXPECT_FALSE(server.hasClient());
}

}  // namespace
