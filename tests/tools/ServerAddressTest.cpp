#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>

#include "record/Failure.h"
#include "record/ServerAddress.h"

namespace veltra::testing {

namespace {

void expectServer(const std::string& text, int family, const std::string& address,
                  std::uint16_t port) {
    const ServerAddress server = findServer(text, family);
    EXPECT_EQ(server.address, address) << text;
    EXPECT_EQ(server.port, port) << text;
}

void expectRefusal(const std::string& text, int family, const std::string& reason) {
    try {
        const ServerAddress server = findServer(text, family);
        FAIL() << text << " is " << server.address;
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitStatus(), 1);
        EXPECT_EQ(failure.what(), reason);
    }
}

TEST(ServerAddress, IsAnAddressAndAPort) {
    expectServer("192.0.2.7:1080", AF_INET, "192.0.2.7", 1080);
    expectServer("127.1:65535", AF_INET, "127.0.0.1", 65535);
    expectServer("[2001:db8:0::1]:1", AF_INET6, "2001:db8::1", 1);
}

// A bare system may not even know this name.
TEST(ServerAddress, IsLookedUpByItsName) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo("localhost", nullptr, &wanted, &found);
    if (error == 0) {
        ::freeaddrinfo(found);
        expectServer("localhost:1080", AF_INET, "127.0.0.1", 1080);
    } else {
        expectRefusal(
            "localhost:1080", AF_INET,
            std::string("cannot find an IPv4 address of localhost: ") + ::gai_strerror(error));
    }
}

TEST(ServerAddress, NeedsBothParts) {
    for (const std::string text : {"", "host", ":1", "host:", "host:0", "host:65536", "host:-1",
                                   "host:1x", "host: 1", "::1:1080", "[]:1", "2001:db8::1"}) {
        expectRefusal(text, AF_INET6,
                      "'" + text + "' is not of the form HOST:PORT (or [IPV6-ADDRESS]:PORT)");
    }
}

TEST(ServerAddress, MustBeOfTheFamily) {
    expectRefusal("192.0.2.7:1", AF_INET6,
                  "cannot find an IPv6 address of 192.0.2.7: Address family for hostname not "
                  "supported");
    expectRefusal("[::1]:1", AF_INET,
                  "cannot find an IPv4 address of ::1: Address family for hostname not supported");
}

}  // namespace

}  // namespace veltra::testing
