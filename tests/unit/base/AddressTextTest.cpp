#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>

#include "base/addressText.h"

namespace {

struct AddressRow {
    const char* address;
    const char* text;
};

TEST(AddressText, Ipv4InDottedDecimal) {
    for (const char* text :
         {"0.0.0.0", "127.0.0.1", "1.2.3.4", "10.20.30.40", "192.168.100.200", "255.255.255.255"}) {
        in_addr address;
        ASSERT_EQ(inet_pton(AF_INET, text, &address), 1);
        EXPECT_STREQ(ipv4Text(address).text, text);
    }
}

TEST(AddressText, Ipv6InEightGroupsNeverShortened) {
    constexpr AddressRow rows[] = {
        {"::", "0:0:0:0:0:0:0:0"},
        {"::1", "0:0:0:0:0:0:0:1"},
        {"2001:db8::8:800:200c:417a", "2001:db8:0:0:8:800:200c:417a"},
        {"0001:0020:0300:4000:abcd:00ef:f00f:0", "1:20:300:4000:abcd:ef:f00f:0"},
        {"::ffff:127.0.0.1", "0:0:0:0:0:ffff:7f00:1"},
        {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    };
    for (const AddressRow& row : rows) {
        in6_addr address;
        ASSERT_EQ(inet_pton(AF_INET6, row.address, &address), 1);
        EXPECT_STREQ(ipv6Text(address).text, row.text);
    }
}

TEST(AddressText, LeavesTheCLibrarysBufferAlone) {
    in_addr application;
    in_addr agent;
    ASSERT_EQ(inet_pton(AF_INET, "10.1.2.3", &application), 1);
    ASSERT_EQ(inet_pton(AF_INET, "192.168.4.5", &agent), 1);
    const char* const shared = inet_ntoa(application);
    EXPECT_STREQ(ipv4Text(agent).text, "192.168.4.5");
    EXPECT_STREQ(shared, "10.1.2.3");
}

}  // namespace
