#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/un.h>

#include "hooks/HookSocket.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What fillMsgWithName appends to an element without attributes.
std::string attributesOf(const sockaddr* address) {
    RecorderMessage message(RecorderMessageKind::accept, 0);
    fillMsgWithName(&message, address);
    return message.toString();
}

class AddressAttributes : public testing::Test {
protected:
    AddressAttributes() { socketInitialized = 1; }
};

TEST_F(AddressAttributes, OfIpv4) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    inet_pton(AF_INET, "10.0.0.2", &address.sin_addr);
    EXPECT_EQ(attributesOf(reinterpret_cast<const sockaddr*>(&address)),
              R"(<accept family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="35")");
}

TEST_F(AddressAttributes, OfIpv4AtItsBounds) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(65535);
    address.sin_addr.s_addr = 0xFFFFFFFF;
    EXPECT_EQ(attributesOf(reinterpret_cast<const sockaddr*>(&address)),
              R"(<accept family_AS="AF_INET" ip_AS="255.255.255.255" port_I4="ffff")");
}

TEST_F(AddressAttributes, OfIpv6Loopback) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(80);
    address.sin6_addr = in6addr_loopback;
    EXPECT_EQ(attributesOf(reinterpret_cast<const sockaddr*>(&address)),
              R"(<accept family_AS="AF_CCITT" ip_AS="0:0:0:0:0:0:0:1" port_I4="50")");
}

TEST_F(AddressAttributes, OfIpv6NeitherShortenedNorWithScope) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_scope_id = 3;
    address.sin6_flowinfo = 7;
    inet_pton(AF_INET6, "fe80:abcd:ffff:0:12:0:0:9000", &address.sin6_addr);
    EXPECT_EQ(attributesOf(reinterpret_cast<const sockaddr*>(&address)),
              R"(<accept family_AS="AF_CCITT" ip_AS="fe80:abcd:ffff:0:12:0:0:9000" port_I4="0")");
}

TEST_F(AddressAttributes, OfUnixIsTheFamilyOnly) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    EXPECT_EQ(attributesOf(reinterpret_cast<const sockaddr*>(&address)),
              R"(<accept family_AS="AF_UNIX")");
}

TEST_F(AddressAttributes, OfAFamilyWithoutANameIsNothing) {
    sockaddr address{};
    address.sa_family = 26;
    EXPECT_EQ(attributesOf(&address), "<accept");
}

TEST_F(AddressAttributes, OfAFamilyBeyondTheTableIsAnEmptyName) {
    sockaddr address{};
    address.sa_family = 37;
    EXPECT_EQ(attributesOf(&address), R"(<accept family_AS="")");
}

TEST_F(AddressAttributes, OfNullAreNoneButATrace) {
    veltra::testing::TraceLog log;
    EXPECT_EQ(attributesOf(nullptr), "<accept");
    EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]name is null => can't fill message"));
}

TEST_F(AddressAttributes, LeaveTheApplicationsOwnAddressTextAlone) {
    in_addr applications{};
    inet_pton(AF_INET, "192.0.2.77", &applications);
    const char* const text = inet_ntoa(applications);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    attributesOf(reinterpret_cast<const sockaddr*>(&address));
    EXPECT_STREQ(text, "192.0.2.77");
}

}  // namespace
