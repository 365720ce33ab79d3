#include "SocksHandShakeTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

using testing::IsEmpty;
using veltra::testing::bytes;
using veltra::testing::ReplacedCall;
using veltra::testing::socksAcceptance;
using veltra::testing::SocksEnding;
using veltra::testing::socksGreeting;
using veltra::testing::SocksServer;

TEST_F(SocksHandShake, AgreesOnTheMethodForIpv4) {
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 1);
    EXPECT_EQ(socksError, 0);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(log.takeLines(), ipv4HandShakeTrace());
    closeSocket();
    EXPECT_EQ(server.received(), socksGreeting);
}

TEST_F(SocksHandShake, AgreesOnTheMethodForIpv6) {
    SocksServer server({socksAcceptance}, SocksEnding::listen, AF_INET6);
    useServer(AF_INET6, server.port());
    EXPECT_EQ(shakeHands(open(AF_INET6), AF_INET6), 1);
    EXPECT_EQ(socksError, 0);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(log.takeLines(), joined({startTrace(), ipv6ServerTrace(server.port()),
                                       greetingTrace(), acceptanceTrace()}));
    closeSocket();
    EXPECT_EQ(server.received(), socksGreeting);
}

TEST_F(SocksHandShake, OutsideSocksModeDoesNothing) {
    socksModeActive.store(0);
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 0);
    EXPECT_EQ(socksError, 55);
    EXPECT_EQ(error, 77);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(SocksHandShake, OfAnotherFamilyReachesNobody) {
    for (const int family : {0, 1, 3, 11, -1}) {
        EXPECT_EQ(shakeHands(open(AF_INET), family), -1) << family;
        EXPECT_EQ(socksError, 0);
        EXPECT_EQ(error, 111);
        EXPECT_EQ(log.takeLines(),
                  joined({startTrace(), {"[ERROR]unknown familly for socks connect"}}));
    }
}

TEST_F(SocksHandShake, ShowsUnsetServersAndEveryFieldOfTheIpv6One) {
    socksIpv4Val = nullptr;
    socksIpv6Val = nullptr;
    serverIPV6.sin6_family = AF_INET6;
    serverIPV6.sin6_port = htons(0x1234);
    serverIPV6.sin6_flowinfo = 305419896;
    serverIPV6.sin6_scope_id = 7;
    for (int i = 0; i < 16; ++i)
        serverIPV6.sin6_addr.s6_addr[i] = static_cast<unsigned char>(0x0A + 16 * i);
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET6), -1);
    EXPECT_EQ(
        log.takeLines(),
        (Lines{"[INFO ]**************** starting socks connection ******************",
               "[INFO ]* socks server : (null) (1081)", "[INFO ]* socks server : (null) (1082)",
               "[INFO ]************************", "[INFO ]** starting handshake **",
               "[INFO ]************************",
               "[INFO ]==> Connecting socket IPV6 : ", "[INFO ]\t familly : AF_CCITT 10",
               "[INFO ]\t port : 4660", "[INFO ]\t flowinfo : 305419896", "[INFO ]\t scope_id : 7",
               "[INFO ]\t sin6_addr.u.Byte : [0A 1A 2A 3A 4A 5A 6A 7A 8A 9A AA BA CA DA EA FA ]",
               "[INFO ]\t sin6_addr.u.Word : [0A1A 2A3A 4A5A 6A7A 8A9A AABA CADA EAFA ]",
               "[ERROR]connect() failed with error code (SOCKET ERROR : 97 WSAEAFNOSUPPORT : "
               "Address family not supported by protocol family):"}));
    EXPECT_EQ(socksError, 97);
    EXPECT_EQ(error, 77);
}

struct Selection {
    const char* name;
    std::string answer;
    const char* shown;
};

const Selection refusedSelections[] = {
    {"no acceptable method", bytes(5, 0xFF), "05 FF "},
    {"another method", bytes(5, 2), "05 02 "},
    {"an older version", bytes(4, 0), "04 00 "},
    {"nothing but zeros", bytes(0, 0), "00 00 "},
    {"the version alone", bytes(5), "05 "},
    {"nothing", "", ""},
};

TEST_F(SocksHandShake, AnyOtherSelectionIsARefusal) {
    for (const auto& [name, answer, shown] : refusedSelections) {
        SCOPED_TRACE(name);
        SocksServer server({{3, answer}}, SocksEnding::finish);
        useServer(AF_INET, server.port());
        EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 3);
        EXPECT_EQ(socksError, 93);
        EXPECT_EQ(error, 77);
        EXPECT_EQ(log.takeLines(),
                  joined({startTrace(),
                          ipv4ServerTrace(),
                          greetingTrace(),
                          {std::string("[INFO ]recv selected method OK : ") + shown,
                           "[ERROR]unexpected received message from server"}}));
        closeSocket();
        EXPECT_EQ(server.received(), socksGreeting);
    }
}

TEST_F(SocksHandShake, OneByteOfTheSelectionIsARefusalEvenIfTheOtherFollows) {
    script.most = 1;
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 3);
    EXPECT_EQ(socksError, 93);
    EXPECT_EQ(script.reads, 1);
}

TEST_F(SocksHandShake, ResetByTheServerIsAFailure) {
    SocksServer server({{3, ""}}, SocksEnding::reset);
    useServer(AF_INET, server.port());
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 3);
    EXPECT_EQ(socksError, 104);
    EXPECT_EQ(error, 111);
    EXPECT_EQ(log.takeLines(),
              joined({startTrace(),
                      ipv4ServerTrace(),
                      greetingTrace(),
                      {"[ERROR]failed to receive selected method (SOCKET ERROR : 104 "
                       "WSAECONNRESET : Connection reset by peer)"}}));
}

TEST_F(SocksHandShake, RepeatsTheReadAndRestoresTheErrorCode) {
    script.againBeforeEach = 3;
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 1);
    EXPECT_EQ(error, 77);
    Lines acceptance = acceptanceTrace();
    acceptance.front() = "[INFO ]recv selected method OK after some time... : 05 00 ";
    EXPECT_EQ(log.takeLines(),
              joined({startTrace(), ipv4ServerTrace(), greetingTrace(), acceptance}));
}

TEST_F(SocksHandShake, WithNobodyListeningKeepsTheErrorCode) {
    const veltra::testing::RefusingPort port;
    useServer(AF_INET, port.number());
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), -1);
    EXPECT_EQ(socksError, 111);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(log.takeLines(),
              joined({startTrace(),
                      ipv4ServerTrace(),
                      {"[ERROR]connect() failed with error code (SOCKET ERROR : 111 "
                       "WSAECONNREFUSED : Connection refused):"}}));
}

// With only the other family's server known, the address is all zeros.
TEST_F(SocksHandShake, WithoutAServerOfTheFamilyUsesTheZeroAddress) {
    int asked = 0;
    static int* calls = nullptr;
    calls = &asked;
    const ReplacedCall<connect_function> connectCall(
        connect_ptr, [](int, const sockaddr* address, socklen_t length) {
            ++*calls;
            EXPECT_EQ(length, 16U);
            const std::string zeros(16, '\0');
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(address), 16), zeros);
            errno = EINVAL;
            return -1;
        });
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), -1);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(socksError, 22);
    EXPECT_EQ(error, 77);
}

TEST_F(SocksHandShake, GreetingThatCannotBeSentIsAFailure) {
    const ReplacedCall<send_function> sendCall(send_ptr, &brokenSend);
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), 3);
    EXPECT_EQ(socksError, 104);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(log.takeLines(),
              joined({startTrace(),
                      ipv4ServerTrace(),
                      {"[INFO ]connect() done on SOCKS server",
                       "[INFO ]==> Sending supported authentification methods",
                       "[ERROR]failed to send client greeting (SOCKET ERROR : 104 WSAECONNRESET : "
                       "Connection reset by peer)"}}));
}

}  // namespace
