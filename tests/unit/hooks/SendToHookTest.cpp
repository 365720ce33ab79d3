#include "DatagramHookTest.h"
#include "socks/Socks.h"

namespace {

using namespace datagram;
using veltra::testing::ReplacedCall;

// What the agent hands on where the caller has no destination is as large as any address.
bool isAgentsOwn = false;
sockaddr_storage destinationSeen;

ssize_t scriptedSendto(int socket, const void* buffer, size_t size, int flags,
                       const sockaddr* address, socklen_t length) {
    codeSeen = errno;
    handed = {socket, buffer, size, flags, address, length, nullptr};
    if (isAgentsOwn) std::memcpy(&destinationSeen, address, sizeof(destinationSeen));
    errno = leftCode;
    return answer;
}

class SendTo : public DatagramHook {
protected:
    void sendTo(const sockaddr* to, socklen_t length, ssize_t result = 5, int code = 5,
                size_t size = 5) {
        isAgentsOwn = to == nullptr;
        call(result, code, [&] { return Mysendto(fd, buffer, size, 3, to, length); });
        EXPECT_EQ(handed.size, size);
        EXPECT_EQ(handed.flags, 3);
        EXPECT_EQ(handed.length, length);
        if (to != nullptr) {
            EXPECT_EQ(handed.address, to);
        }
    }

    void expectSent(const std::string& attributes) {
        expectTraceAndMessage(
            {"[CALL ][1]sendto \tsocket : 1f",
             "[RET  ][1]sendto (OK):\tsocket : 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER"},
            sentMessage(attributes));
    }

    ReplacedCall<sendto_function> sendto_{sendto_ptr, &scriptedSendto};

    static std::string sentMessage(const std::string& attributes) {
        return R"(<send timestamp_I8="T" ticket_I4="1" socket_I8="1f" pid_I4="PID" data_AS="hello" length_U4="5")" +
               attributes + "/>";
    }
};

TEST_F(SendTo, RecordsAnIpv4Destination) {
    const sockaddr_in to = ipv4("10.0.0.2", 53);
    sendTo(generic(to), sizeof(to));
    expectSent(R"( family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35")");
}

TEST_F(SendTo, RecordsAnIpv6Destination) {
    const sockaddr_in6 to = ipv6("2001:db8::1:ff", 8080);
    sendTo(generic(to), sizeof(to));
    expectSent(R"( family_AS="AF_CCITT" ip_AS="2001:db8:0:0:0:0:1:ff" port_I4="1f90")");
}

TEST_F(SendTo, RecordsOnlyTheFamilyOfOtherDestinations) {
    sockaddr to{};
    to.sa_family = AF_UNIX;
    sendTo(&to, sizeof(to));
    expectSent(R"( family_AS="AF_UNIX")");
}

TEST_F(SendTo, RecordsNoAddressBelow16Bytes) {
    const sockaddr_in to = ipv4("10.0.0.2", 53);
    sendTo(generic(to), 15);
    expectSent("");
}

TEST_F(SendTo, HandsOnAnAddressWhereThereIsNone) {
    sendTo(nullptr, 0);
    EXPECT_NE(handed.address, nullptr);
    expectSent("");
}

TEST_F(SendTo, HandsOnAnyLengthWithoutADestinationAndRecordsAnEmptyOne) {
    for (const socklen_t length : {16U, 28U}) {
        std::memset(&destinationSeen, 'x', sizeof(destinationSeen));
        sendTo(nullptr, length, -1, EINVAL);
        ASSERT_NE(handed.address, nullptr);
        const sockaddr_storage nothing{};
        EXPECT_EQ(std::memcmp(&destinationSeen, &nothing, sizeof(nothing)), 0);
    }
    std::string second = sentMessage(R"( family_AS="AF_UNSPEC" error_I4="16")");
    second.replace(second.find("ticket_I4=\"1"), 12, "ticket_I4=\"2");
    EXPECT_EQ(takeMessages(),
              (Lines{sentMessage(R"( family_AS="AF_UNSPEC" error_I4="16")"), second}));
}

TEST_F(SendTo, HandsOnTheLengthOfTheLongestAddressWithoutADestination) {
    sendTo(nullptr, 128, -1, EINVAL);
    EXPECT_NE(handed.address, nullptr);
}

TEST_F(SendTo, ThatIsShortRecordsTheWholeBuffer) {
    sendTo(nullptr, 0, 2);
    expectSent("");
}

TEST_F(SendTo, OfNothingHasNoData) {
    const sockaddr_in to = ipv4("10.0.0.2", 53);
    sendTo(generic(to), sizeof(to), 0, 5, 0);
    expectTraceAndMessage(
        {"[CALL ][1]sendto \tsocket : 1f",
         "[RET  ][1]sendto (OK):\tsocket : 1f\t len = 0,\t flags = 3,\t buf = 0xBUFFER"},
        R"(<send timestamp_I8="T" ticket_I4="1" socket_I8="1f" pid_I4="PID" length_U4="0" family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35"/>)");
}

TEST_F(SendTo, ThatFailsRecordsTheErrorBehindTheAddress) {
    const sockaddr_in to = ipv4("10.0.0.2", 53);
    sendTo(generic(to), sizeof(to), -1, EISCONN);
    expectTraceAndMessage(
        {"[CALL ][1]sendto \tsocket : 1f",
         "[WARNI][1]sendto (SOCKET ERROR : 106 WSAEISCONN : Socket is already connected):\tsocket "
         ": 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER"},
        sentMessage(R"( family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35" error_I4="6a")"));
}

TEST_F(SendTo, ThatWouldBlockIsRecordedToo) {
    sendTo(nullptr, 0, -1, EAGAIN);
    EXPECT_EQ(takeMessages(), Lines{sentMessage(R"( error_I4="b")")});
}

TEST_F(SendTo, BeginsItsMessageWithTheClockOfTheRecorderCore) {
    getCurrentTimePtr = [] { return 0x1092LL; };
    sendTo(nullptr, 0);
    EXPECT_EQ(
        takeMessages(),
        Lines{
            R"(<send timestamp_ns_I8="1092" timestamp_I8="T" ticket_I4="1" socket_I8="1f" pid_I4="PID" data_AS="hello" length_U4="5"/>)"});
}

TEST_F(SendTo, OnADatagramSocketIsTracedOnly) {
    createSocketInfo(fd, AF_INET, SOCK_DGRAM, 0, 17);
    const sockaddr_in to = ipv4("10.0.0.2", 53);
    sendTo(generic(to), sizeof(to));
    expectTraceOnly({"[CALL ][1]sendto \tsocket : 1f",
                     "[RET  ][1]sendto (OK):\tsocket : 1f\t len = 5,\t flags = 3,\t buf = "
                     "0xBUFFER",
                     "[INFO ][1]sendto on 1f not logged (UDPSOCKET)"});
}

TEST_F(SendTo, OnAnotherFamilyIsTracedOnly) {
    createSocketInfo(fd, AF_NETLINK, SOCK_RAW, 0, 0);
    sendTo(nullptr, 0, -1, ENOTCONN);
    expectTraceOnly({"[CALL ][1]sendto \tsocket : 1f",
                     "[WARNI][1]sendto (SOCKET ERROR : 107 WSAENOTCONN : Socket is not connected)"
                     ":\tsocket : 1f\t len = 5,\t flags = 3,\t buf = 0xBUFFER",
                     "[INFO ][1]sendto on 1f not logged (NONINET)"});
}

TEST_F(SendTo, OnAReroutedSocketIsTracedOnly) {
    const sockaddr_in destination = ipv4("10.0.0.2", 53);
    createSockaddrElem(getSocketInfo(fd), generic(destination), sizeof(destination));
    socksModeActive = 1;
    sendTo(nullptr, 0);
    expectTraceOnly({"[CALL ][1]sendto \tsocket : 1f",
                     "[RET  ][1]sendto (OK):\tsocket : 1f\t len = 5,\t flags = 3,\t buf = "
                     "0xBUFFER",
                     "[INFO ][1]sendto on 1f not logged (SOCKSRECORDED)"});
    socksModeActive = 0;
}

TEST_F(SendTo, OnLocalSocketsAndUnknownDescriptorsLeavesNothing) {
    createSocketInfo(fd, AF_UNIX, SOCK_STREAM, 0, 0);
    sendTo(nullptr, 0);
    EXPECT_NE(handed.address, nullptr);
    freeSocketInfo(fd);
    sendTo(nullptr, 0, -1, ENOTSOCK);
    EXPECT_NE(handed.address, nullptr);
    expectTraceOnly({});
}

TEST_F(SendTo, DrawsATicketAndACallNumberOnUnknownDescriptorsToo) {
    freeSocketInfo(fd);
    sendTo(nullptr, 0);
    createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    sendTo(nullptr, 0);
    const std::string message =
        R"(<send timestamp_I8="T" ticket_I4="2" socket_I8="1f" pid_I4="PID" data_AS="hello" length_U4="5"/>)";
    EXPECT_EQ(takeMessages(), Lines{message});
    EXPECT_EQ(takeTrace()[0], "[CALL ][2]sendto \tsocket : 1f");
}

}  // namespace
