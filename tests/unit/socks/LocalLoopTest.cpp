#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "AddressList.h"
#include "SocksTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::ReplacedCall;

class LocalLoop : public SocksTest {
protected:
    LocalLoop() {
        createBindedPortMemo(7, 8080);
        createBindedPortMemo(8, 0);
        (void)log.takeLines();
    }
    // Asks about an address; errno must stay as it is.
    static bool isLoop(const std::string& text, int port, int fd = 20) {
        const sockaddr_storage address = addressOf(text, port);
        errno = 77;
        const bool loop =
            isBindedLocalHost(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        EXPECT_EQ(errno, 77);
        return loop;
    }
};

TEST_F(LocalLoop, NullAddressIsNone) {
    errno = 77;
    EXPECT_FALSE(isBindedLocalHost(20, nullptr, 16));
    EXPECT_EQ(errno, 77);
}

struct Destination {
    const char* address;
    bool local;
};

constexpr Destination destinations[] = {
    {"127.0.0.1", true},
    {"127.0.0.2", false},
    {"127.1.0.1", false},
    {"126.0.0.1", false},
    {"1.0.0.127", false},
    {"0.0.0.0", false},
    {"10.0.0.1", false},
    {"::1", true},
    {"::ffff:127.0.0.1", true},
    {"::", false},
    {"::2", false},
    {"::127.0.0.1", false},
    {"::ffff:127.0.0.2", false},
    {"1::ffff:127.0.0.1", false},
    {"2001:db8::1", false},
    {"fe80::1", false},
    {"", false},
};

TEST_F(LocalLoop, LoopbackAddressesOnABoundPort) {
    for (const auto& [address, local] : destinations) {
        EXPECT_EQ(isLoop(address, 8080), local) << address;
        EXPECT_FALSE(isLoop(address, 8081)) << address;
    }
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(LocalLoop, LengthDoesNotMatter) {
    const sockaddr_storage address = addressOf("127.0.0.1", 8080);
    for (const socklen_t length : {0U, 2U, 16U, 4000U}) {
        EXPECT_TRUE(isBindedLocalHost(20, reinterpret_cast<const sockaddr*>(&address), length));
    }
}

TEST_F(LocalLoop, Ipv4AddressesOfTheListAreLocal) {
    AddressList list({"2001:db8::1", "192.168.1.5", "", "10.0.0.1"});
    allLocalAdresses = list.head();
    EXPECT_TRUE(isLoop("192.168.1.5", 8080));
    EXPECT_TRUE(isLoop("10.0.0.1", 8080));
    EXPECT_TRUE(isLoop("127.0.0.1", 8080));
    EXPECT_FALSE(isLoop("10.0.0.1", 8081));
    EXPECT_FALSE(isLoop("10.0.0.2", 8080));
    EXPECT_FALSE(isLoop("127.0.0.2", 8080));
    EXPECT_FALSE(isLoop("2001:db8::1", 8080));
    EXPECT_FALSE(isLoop("::ffff:10.0.0.1", 8080));
}

TEST_F(LocalLoop, AnySocketsPortCounts) {
    EXPECT_TRUE(isLoop("127.0.0.1", 8080, 7));
    EXPECT_TRUE(isLoop("127.0.0.1", 8080, 8));
    EXPECT_TRUE(isLoop("::1", 8080, -1));
}

TEST_F(LocalLoop, PortsAreComparedInHostOrder) {
    createBindedPortMemo(9, 0x1234);
    EXPECT_TRUE(isLoop("127.0.0.1", 0x1234));
    EXPECT_FALSE(isLoop("127.0.0.1", 0x3412));
}

TEST_F(LocalLoop, EndsWhenThePortIsFreed) {
    createBindedPortMemo(7, 9090);
    EXPECT_TRUE(isLoop("127.0.0.1", 9090));
    freeBindedPortMemo(7);
    EXPECT_FALSE(isLoop("127.0.0.1", 9090));
    EXPECT_TRUE(isLoop("127.0.0.1", 8080));
    freeBindedPortMemo(7);
    EXPECT_FALSE(isLoop("127.0.0.1", 8080));
}

// The port that the scripted getsockname answers, and the lengths it was asked with.
int ownPort = 0;
std::vector<socklen_t> ownLengths;

int scriptedGetsockname(int fd, sockaddr* address, socklen_t* length) {
    EXPECT_EQ(fd, 20);
    ownLengths.push_back(*length);
    errno = ownPort == -1 ? EBADF : 9999;
    if (ownPort == -1) return -1;
    reinterpret_cast<sockaddr_in*>(address)->sin_port = htons(static_cast<std::uint16_t>(ownPort));
    return 0;
}

TEST_F(LocalLoop, PortZeroMeansTheSocketsOwn) {
    freeBindedPortMemo(8);
    (void)log.takeLines();
    ownLengths.clear();
    const ReplacedCall getsocknameCall(getsockname_ptr, &scriptedGetsockname);
    ownPort = 8080;
    EXPECT_TRUE(isLoop("127.0.0.1", 0));
    EXPECT_TRUE(isLoop("::1", 0));
    ownPort = 8081;
    EXPECT_FALSE(isLoop("127.0.0.1", 0));
    EXPECT_THAT(ownLengths, ElementsAre(16, 28, 16));
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]local port : 8080", "[INFO ]local port : 8080",
                                             "[INFO ]local port : 8081"));
    EXPECT_FALSE(isLoop("127.0.0.2", 0));
    EXPECT_EQ(ownLengths.size(), 3U);
}

TEST_F(LocalLoop, PortZeroOfASocketThatHasNone) {
    const ReplacedCall getsocknameCall(getsockname_ptr, &scriptedGetsockname);
    ownPort = -1;
    // A bind whose port could not be told was remembered as 0.
    EXPECT_TRUE(isLoop("127.0.0.1", 0));
    freeBindedPortMemo(8);
    (void)log.takeLines();
    EXPECT_FALSE(isLoop("127.0.0.1", 0));
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[ERROR]failed to retrieve sock options (SOCKET ERROR : 9 ????? : "
                            "unknown code)"));
}

}  // namespace
