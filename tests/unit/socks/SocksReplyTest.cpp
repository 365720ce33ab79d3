#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "SocksRequestTest.h"

namespace {

using veltra::testing::bytes;
using veltra::testing::ReplacedCall;
using veltra::testing::socksAcceptance;
using veltra::testing::SocksEnding;
using veltra::testing::socksIpv4Request;
using veltra::testing::SocksServer;

using SocksReply = SocksRequest;

const Lines accepted = {"[INFO ]recv protocol version OK : 05 ",
                        "[INFO ]recv connect status OK : 00 ", "[INFO ]Request succeeded"};

struct Reply {
    const char* name;
    std::string answer;  // followed by the end of the stream
    Lines trace;
};

const Reply malformedReplies[] = {
    {"version 4",
     bytes(4, 0),
     {"[INFO ]recv protocol version OK : 04 ",
      "[ERROR]bad protocol version (expected : 5 received 4)"}},
    {"version 255",
     bytes(0xFF, 0),
     {"[INFO ]recv protocol version OK : FF ",
      "[ERROR]bad protocol version (expected : 5 received 255)"}},
    {"closed at the version",
     "",
     {"[INFO ]recv protocol version OK : ",
      "[ERROR]bad protocol version (expected : 5 received 0)"}},
    {"reserved field 1", bytes(5, 0, 1),
     joined({accepted, {"[INFO ]recv reserved field OK : 01 ", "[ERROR]bad reserved field"}})},
    {"reserved field 255", bytes(5, 0, 0xFF),
     joined({accepted, {"[INFO ]recv reserved field OK : FF ", "[ERROR]bad reserved field"}})},
    {"a domain name", bytes(5, 0, 0, 3),
     joined({accepted,
             {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 03 ",
              "[ERROR]Domain name address (unsupported)"}})},
    {"format 0", bytes(5, 0, 0, 0),
     joined({accepted,
             {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 00 ",
              "[ERROR]Invalid ATYP field"}})},
    {"format 2", bytes(5, 0, 0, 2),
     joined({accepted,
             {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 02 ",
              "[ERROR]Invalid ATYP field"}})},
    {"format 5", bytes(5, 0, 0, 5),
     joined({accepted,
             {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 05 ",
              "[ERROR]Invalid ATYP field"}})},
    {"format 255", bytes(5, 0, 0, 255),
     joined({accepted,
             {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : FF ",
              "[ERROR]Invalid ATYP field"}})},
    {"closed at the status",
     bytes(5),
     {"[INFO ]recv protocol version OK : 05 ",
      "[INFO ]recv connect status OK : ", "[INFO ]Request succeeded",
      "[INFO ]recv reserved field OK : ", "[INFO ]recv format OK : ", "[ERROR]Invalid ATYP field"}},
    {"closed at the reserved field", bytes(5, 0),
     joined({accepted,
             {"[INFO ]recv reserved field OK : ", "[INFO ]recv format OK : ",
              "[ERROR]Invalid ATYP field"}})},
    {"closed at the format", bytes(5, 0, 0),
     joined({accepted,
             {"[INFO ]recv reserved field OK : 00 ",
              "[INFO ]recv format OK : ", "[ERROR]Invalid ATYP field"}})},
};

TEST_F(SocksReply, MalformedRepliesAreFailures) {
    for (const auto& [name, answer, trace] : malformedReplies) {
        SCOPED_TRACE(name);
        SocksServer server({socksAcceptance, {socksIpv4Request, answer}}, SocksEnding::finish);
        useServer(AF_INET, server.port());
        open(AF_INET);
        EXPECT_EQ(connectTo10_1_2_3(), 3);
        EXPECT_EQ(socksError, 93);
        EXPECT_EQ(error, 111);
        EXPECT_EQ(storedDestination(), "");
        EXPECT_EQ(log.takeLines(), replyTrace(trace));
    }
}

// The bound address is of no use, so an end of the stream there does no harm.
const Reply cutReplies[] = {
    {"closed at the address",
     bytes(5, 0, 0, 1),
     {"[INFO ]recv format OK : 01 ", "[INFO ]recv redirect IPV4 address OK : ",
      "[INFO ]recv redirect port OK : ", "[INFO ]* socks server routed  (0)"}},
    {"closed within the address",
     bytes(5, 0, 0, 1, 7, 8),
     {"[INFO ]recv format OK : 01 ", "[INFO ]recv redirect IPV4 address OK : 07 08 ",
      "[INFO ]recv redirect port OK : ", "[INFO ]* socks server routed  (0)"}},
    {"closed at an IPv6 address",
     bytes(5, 0, 0, 4),
     {"[INFO ]recv format OK : 04 ", "[INFO ]recv redirect IPV6 address OK : ",
      "[INFO ]recv redirect port OK : ", "[INFO ]* socks server routed  (0)"}},
    {"closed at the port",
     bytes(5, 0, 0, 1, 1, 2, 3, 4),
     {"[INFO ]recv format OK : 01 ", "[INFO ]recv redirect IPV4 address OK : 01 02 03 04 ",
      "[INFO ]recv redirect port OK : ", "[INFO ]* socks server routed  (0)"}},
};

TEST_F(SocksReply, RepliesCutBehindTheFormatAreAccepted) {
    for (const auto& [name, answer, trace] : cutReplies) {
        SCOPED_TRACE(name);
        SocksServer server({socksAcceptance, {socksIpv4Request, answer}}, SocksEnding::finish);
        useServer(AF_INET, server.port());
        open(AF_INET);
        EXPECT_EQ(connectTo10_1_2_3(), 1);
        EXPECT_EQ(socksError, 0);
        EXPECT_EQ(error, 77);
        EXPECT_EQ(storedDestination(), "10.1.2.3 80");
        EXPECT_EQ(log.takeLines(),
                  replyTrace(joined(
                      {accepted, {"[INFO ]recv reserved field OK : 00 "}, trace, successTrace()})));
    }
}

// Every read takes the single byte that has arrived and asks no second time.
TEST_F(SocksReply, TakesAReplyThatArrivesByteByByteAsItComes) {
    static int readsOfTheHandShake;
    readsOfTheHandShake = 1;
    SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
    useServer(AF_INET, server.port());
    open(AF_INET);
    const ReplacedCall<recv_function> recvCall(
        recv_ptr, [](int fd, void* buffer, std::size_t length, int) {
            const std::size_t most = readsOfTheHandShake-- > 0 ? length : 1;
            return ::recv(fd, buffer, most, MSG_WAITALL);
        });
    EXPECT_EQ(connectTo10_1_2_3(), 1);
    EXPECT_EQ(
        log.takeLines(),
        replyTrace(joined(
            {accepted,
             {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 01 ",
              "[INFO ]recv redirect IPV4 address OK : C0 ", "[INFO ]recv redirect port OK : 00 "},
             {"[INFO ]* socks server routed  (0)"},
             successTrace()})));
}

TEST_F(SocksReply, RepeatsEveryReadAndLeavesTheCodeOfThat) {
    script.againBeforeEach = 2;
    SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
    useServer(AF_INET, server.port());
    open(AF_INET);
    EXPECT_EQ(connectTo10_1_2_3(), 1);
    EXPECT_EQ(socksError, 0);
    EXPECT_EQ(error, 11);
    EXPECT_EQ(script.reads, 7);
    Lines expected = replyTrace(
        joined({accepted,
                {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 01 ",
                 "[INFO ]recv redirect IPV4 address OK : C0 00 02 09 ",
                 "[INFO ]recv redirect port OK : 1F 90 ", "[INFO ]* socks server routed  (8080)"},
                successTrace()}));
    for (std::string& line : expected) {
        const std::size_t at = line.find(" OK : ");
        if (line.rfind("[INFO ]recv ", 0) == 0) line.replace(at, 6, " OK after some time... : ");
    }
    EXPECT_EQ(log.takeLines(), expected);
}

TEST_F(SocksReply, WhatFollowsTheReplyIsTheApplications) {
    const std::string ipv6Reply = bytes(5, 0, 0, 4) + std::string(18, '\1');
    for (const std::string& reply : {routedReply, ipv6Reply}) {
        SocksServer server({socksAcceptance, {socksIpv4Request, reply + "hello"}});
        useServer(AF_INET, server.port());
        const int fd = open(AF_INET);
        EXPECT_EQ(connectTo10_1_2_3(), 1);
        char text[6] = "";
        EXPECT_EQ(::recv(fd, text, sizeof(text), 0), 5);
        EXPECT_STREQ(text, "hello");
    }
}

// Its own mode comes back before the request: the reads of the reply poll.
TEST_F(SocksReply, OnANonBlockingSocketReadsTheReplyInItsOwnMode) {
    SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
    useServer(AF_INET, server.port());
    const int fd = open(AF_INET, SOCK_STREAM | SOCK_NONBLOCK);
    const int flags = ::fcntl(fd, F_GETFL);
    EXPECT_NE(flags & O_NONBLOCK, 0);
    EXPECT_EQ(connectTo10_1_2_3(), 1);
    EXPECT_EQ(::fcntl(fd, F_GETFL), flags);
    std::vector<int> expected(7, flags);
    expected.front() = flags & ~O_NONBLOCK;
    EXPECT_EQ(script.statusFlags, expected);
}

struct FailedRead {
    int number;  // the first read is the handshake's
    const char* label;
    std::size_t linesBefore;  // of the reply's trace
};

constexpr FailedRead failedReads[] = {
    {2, "protocol version", 0}, {3, "connect status", 1},        {4, "reserved field", 3},
    {5, "format", 4},           {6, "redirect IPV4 address", 5}, {7, "redirect port", 6},
};

TEST_F(SocksReply, AReadThatFailsEndsIt) {
    for (const auto& [number, label, linesBefore] : failedReads) {
        SCOPED_TRACE(label);
        script = {};
        script.failingRead = number;
        script.error = ETIMEDOUT;
        SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
        useServer(AF_INET, server.port());
        open(AF_INET);
        EXPECT_EQ(connectTo10_1_2_3(), 3);
        EXPECT_EQ(socksError, 110);
        EXPECT_EQ(error, 111);
        EXPECT_EQ(script.reads, number);
        EXPECT_EQ(storedDestination(), "");
        Lines reply = joined({accepted,
                              {"[INFO ]recv reserved field OK : 00 ", "[INFO ]recv format OK : 01 ",
                               "[INFO ]recv redirect IPV4 address OK : C0 00 02 09 "}});
        reply.resize(linesBefore);
        reply.push_back(std::string("[ERROR]failed to receive ") + label +
                        " (SOCKET ERROR : 110 WSAETIMEDOUT : Connection timed out)");
        EXPECT_EQ(log.takeLines(), replyTrace(reply));
    }
}

}  // namespace
