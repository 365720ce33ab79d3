#include <algorithm>

#include "DatagramHookTest.h"

namespace {

using namespace datagram;
using veltra::testing::ReplacedCall;

// What the real recvfrom writes: an address as far as there is room for it, and its length.
// 0: nothing.
sockaddr_storage peer;
socklen_t peerLength = 0;

ssize_t scriptedRecvfrom(int socket, void* buffer, size_t size, int flags, sockaddr* address,
                         socklen_t* length) {
    codeSeen = errno;
    handed = {socket, buffer, size, flags, address, *length, length};
    if (peerLength != 0) {
        std::memcpy(address, &peer, std::min(*length, peerLength));
        *length = peerLength;
    }
    if (answer > 0) std::memset(buffer, 'x', static_cast<size_t>(answer));
    errno = leftCode;
    return answer;
}

class ReceiveFrom : public DatagramHook {
protected:
    ReceiveFrom() { nameAddress("AREA", &area); }
    ~ReceiveFrom() override { peerLength = 0; }

    template <typename Address>
    void givePeer(const Address& address) {
        std::memcpy(&peer, &address, sizeof(address));
        peerLength = sizeof(address);
    }

    // With the test's own area for the address, unless told otherwise.
    void receive(socklen_t* length, ssize_t result = 5, int code = 5) {
        receiveInto(generic(area), length, result, code);
        EXPECT_EQ(handed.address, generic(area));
    }

    void receiveInto(sockaddr* from, socklen_t* length, ssize_t result = 5, int code = 5) {
        call(result, code, [&] { return Myrecvfrom(fd, buffer, 5, 3, from, length); });
        EXPECT_EQ(handed.size, 5U);
        EXPECT_EQ(handed.flags, 3);
    }

    static Lines trace(const std::string& length) {
        return {"[CALL ][1]recvfrom \tsocket : 1f",
                "[RET  ][1]recvfrom (OK) :\tsocket : 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER\t "
                "from = 0xAREA\t fromlen " +
                    length};
    }

    static std::string received(const std::string& attributes) {
        return R"(<receive pid_I4="PID" timestamp_I8="T" ticket_I4="1" socket_I8="1f" )" +
               attributes + "/>";
    }

    static std::string fiveBytes(const std::string& attributes) {
        return received(R"(data_AS="xxxxx" length_I4="5" )" + attributes);
    }

    sockaddr_storage area{};
    ReplacedCall<recvfrom_function> recvfrom_{recvfrom_ptr, &scriptedRecvfrom};
};

TEST_F(ReceiveFrom, RecordsAnIpv4Peer) {
    const sockaddr_in from = ipv4("10.0.0.2", 53);
    givePeer(from);
    socklen_t length = 16;
    receive(&length);
    EXPECT_EQ(handed.lengthAt, &length);
    EXPECT_EQ(length, 16U);
    expectTraceAndMessage(trace("16"),
                          fiveBytes(R"(family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35")"));
}

TEST_F(ReceiveFrom, RecordsAnIpv6Peer) {
    const sockaddr_in6 from = ipv6("::1", 80);
    givePeer(from);
    socklen_t length = 128;
    receive(&length);
    EXPECT_EQ(handed.length, 128U);
    EXPECT_EQ(length, 28U);
    expectTraceAndMessage(
        trace("28"), fiveBytes(R"(family_AS="AF_CCITT" ip_AS="0:0:0:0:0:0:0:1" port_I4="50")"));
}

TEST_F(ReceiveFrom, GivesTheRealCall16BytesAtLeast) {
    const sockaddr_in from = ipv4("10.0.0.2", 53);
    givePeer(from);
    for (const socklen_t few : {0U, 8U, 15U}) {
        socklen_t length = few;
        receive(&length);
        EXPECT_NE(handed.lengthAt, &length);
        EXPECT_EQ(handed.length, 16U);
        EXPECT_EQ(length, 16U);
    }
}

TEST_F(ReceiveFrom, HandsTheLengthFoundToACallerWithTooLittleRoom) {
    const sockaddr_in6 from = ipv6("2001:db8:3:4:5:6:7:8", 80);
    givePeer(from);
    socklen_t length = 8;
    receive(&length);
    EXPECT_EQ(length, 28U);
    // Only 16 bytes of the address were there to write.
    expectTraceAndMessage(
        trace("28"),
        fiveBytes(R"(family_AS="AF_CCITT" ip_AS="2001:db8:3:4:0:0:0:0" port_I4="50")"));
}

TEST_F(ReceiveFrom, HandsTheLengthBackAfterAFailureToo) {
    socklen_t length = 8;
    receive(&length, -1, ECONNRESET);
    EXPECT_EQ(length, 16U);
    expectTraceAndMessage(
        {"[CALL ][1]recvfrom \tsocket : 1f",
         "[WARNI][1]recvfrom (SOCKET ERROR : 104 WSAECONNRESET : Connection reset by peer) "
         ":\tsocket : 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER\t from = 0xAREA\t fromlen 16"},
        received(R"(length_I4="ffffffff" family_AS="AF_UNSPEC" error_I4="68")"));
}

TEST_F(ReceiveFrom, WithoutALengthUsesOneOfItsOwn) {
    const sockaddr_in from = ipv4("10.0.0.2", 53);
    givePeer(from);
    receive(nullptr);
    EXPECT_EQ(handed.length, 16U);
    expectTraceAndMessage(trace("16"),
                          fiveBytes(R"(family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35")"));
}

TEST_F(ReceiveFrom, RecordsWhatTheAreaHeldWhereNothingIsWritten) {
    const sockaddr_in before = ipv4("192.0.2.7", 7);
    std::memcpy(&area, &before, sizeof(before));
    receive(nullptr);
    expectTraceAndMessage(trace("16"),
                          fiveBytes(R"(family_AS="AF_INET" ip_AS="192.0.2.7" port_I4="7")"));
}

TEST_F(ReceiveFrom, WithoutAnAreaUsesOneOfItsOwn) {
    const sockaddr_in6 from = ipv6("fe80::1", 80);
    givePeer(from);
    receiveInto(nullptr, nullptr);
    ASSERT_NE(handed.address, nullptr);
    EXPECT_EQ(handed.length, 16U);
    nameAddress("AREA", handed.address);
    expectTraceAndMessage(
        trace("28"), fiveBytes(R"(family_AS="AF_CCITT" ip_AS="fe80:0:0:0:0:0:0:0" port_I4="50")"));
}

TEST_F(ReceiveFrom, WithoutAnAreaTakesTheCallersLength) {
    const sockaddr_in from = ipv4("10.0.0.2", 53);
    givePeer(from);
    socklen_t length = 20;
    receiveInto(nullptr, &length);
    EXPECT_EQ(handed.lengthAt, &length);
    EXPECT_EQ(length, 16U);
    length = 4;
    receiveInto(nullptr, &length);
    EXPECT_EQ(handed.length, 16U);
    EXPECT_EQ(length, 16U);
}

TEST_F(ReceiveFrom, WithoutAPeerRecordsAnEmptyAddress) {
    receiveInto(nullptr, nullptr);
    EXPECT_EQ(takeMessages(), Lines{fiveBytes(R"(family_AS="AF_UNSPEC")")});
}

TEST_F(ReceiveFrom, AtTheEndOfTheStreamRecordsTheTextInTheBuffer) {
    std::memcpy(buffer, "abc\0d", 5);
    socklen_t length = 16;
    receive(&length, 0);
    expectTraceAndMessage(trace("16"),
                          received(R"(data_AS="abc" length_I4="0" family_AS="AF_UNSPEC")"));
}

TEST_F(ReceiveFrom, ThatFindsNothingIsNotRecorded) {
    socklen_t length = 16;
    receive(&length, -1, EAGAIN);
    expectTraceOnly(
        {"[CALL ][1]recvfrom \tsocket : 1f",
         "[WARNI][1]recvfrom (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily unavailable) "
         ":\tsocket : 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER\t from = 0xAREA\t fromlen 16"});
}

TEST_F(ReceiveFrom, OfNothingWithThatCodeIsNotRecordedEither) {
    socklen_t length = 16;
    receive(&length, 0, EAGAIN);
    expectTraceOnly(trace("16"));
}

TEST_F(ReceiveFrom, OfDataWithThatCodeIsRecorded) {
    socklen_t length = 16;
    receive(&length, 5, EAGAIN);
    EXPECT_EQ(takeMessages(), Lines{fiveBytes(R"(family_AS="AF_UNSPEC")")});
}

// A call draws its ticket and reads the clock when it has something to record, not before.
TEST_F(ReceiveFrom, TakesItsTicketAndStampsWithTheData) {
    static int reads;
    reads = 0;
    getCurrentTimePtr = [] { return static_cast<long long>(++reads); };
    socklen_t length = 16;
    receive(&length, -1, EAGAIN);
    EXPECT_EQ(reads, 0);
    receive(&length);
    EXPECT_EQ(reads, 1);
    EXPECT_EQ(
        takeMessages(),
        Lines{
            R"(<receive timestamp_ns_I8="1" pid_I4="PID" timestamp_I8="T" ticket_I4="1" socket_I8="1f" data_AS="xxxxx" length_I4="5" family_AS="AF_UNSPEC"/>)"});
    EXPECT_EQ(takeTrace()[2], "[CALL ][2]recvfrom \tsocket : 1f");
}

TEST_F(ReceiveFrom, TracesItsResultByTheKindThatItHas) {
    socklen_t length = 16;
    debugLvl = 1 << TRACE_WARNI;
    receive(&length);
    EXPECT_EQ(takeTrace(), Lines{});
    receive(&length, -1, ENOTCONN);
    EXPECT_EQ(takeTrace(),
              Lines{"[WARNI][2]recvfrom (SOCKET ERROR : 107 WSAENOTCONN : Socket is not connected) "
                    ":\tsocket : 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER\t from = 0xAREA\t "
                    "fromlen 16"});
    debugLvl = 1 << TRACE_RET;
    receive(&length, -1, ENOTCONN);
    EXPECT_EQ(takeTrace(), Lines{});
    receive(&length);
    EXPECT_EQ(takeTrace(), Lines{"[RET  ][4]recvfrom (OK) :\tsocket : 1f\t len = 5,\t flags = "
                                 "3,\t buf = 0xBUFFER\t from = 0xAREA\t fromlen 16"});
}

TEST_F(ReceiveFrom, OnADatagramSocketIsTracedOnly) {
    createSocketInfo(fd, AF_INET, SOCK_DGRAM, 0, 17);
    socklen_t length = 16;
    receive(&length);
    Lines expected = trace("16");
    expected.emplace_back("[INFO ][1]recvfrom on 1f not logged (UDPSOCKET)");
    expectTraceOnly(expected);
}

TEST_F(ReceiveFrom, OnLocalSocketsAndUnknownDescriptorsLeavesNothingButTheLength) {
    createSocketInfo(fd, AF_UNIX, SOCK_STREAM, 0, 0);
    socklen_t length = 4;
    receive(&length);
    EXPECT_EQ(length, 16U);
    freeSocketInfo(fd);
    length = 4;
    receive(&length, -1, ENOTSOCK);
    EXPECT_EQ(length, 16U);
    expectTraceOnly({});
}

TEST_F(ReceiveFrom, HandsALengthThatCannotBeReadToTheRealCall) {
    static const socklen_t* given;
    const ReplacedCall<recvfrom_function> faulting(
        recvfrom_ptr, [](int, void*, size_t, int, sockaddr*, socklen_t* length) -> ssize_t {
            given = length;
            errno = EFAULT;
            return -1;
        });
    auto* const wrong = reinterpret_cast<socklen_t*>(8);
    EXPECT_EQ(Myrecvfrom(fd, buffer, 5, 0, generic(area), wrong), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(given, wrong);
    EXPECT_EQ(takeMessages(),
              Lines{received(R"(length_I4="ffffffff" family_AS="AF_UNSPEC" error_I4="e")")});
}

}  // namespace
