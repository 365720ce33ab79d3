#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AddressList.h"
#include "SocksTest.h"
#include "support/FreshProcess.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::inFreshProcess;
using veltra::testing::ReplacedCall;

// What the resolver answers, and what it was asked.
int resolverResult = 0;
addrinfo* resolverList = nullptr;
std::string resolverQuestions;

int scriptedGetaddrinfo(const char* node, const char* service, const addrinfo* hints,
                        addrinfo** result) {
    resolverQuestions +=
        std::string("\"") + node + "\" " + (service == nullptr ? "null" : service) + " " +
        std::to_string(hints->ai_flags) + " " + std::to_string(hints->ai_family) + " " +
        std::to_string(hints->ai_socktype) + " " + std::to_string(hints->ai_protocol) + ";";
    if (resolverResult == 0) *result = resolverList;
    return resolverResult;
}

constexpr const char* question = "\"\" null 0 0 1 6;";

class LocalAddressList : public SocksTest {
protected:
    LocalAddressList() {
        resolverResult = 0;
        resolverList = nullptr;
        resolverQuestions.clear();
    }

    const ReplacedCall<getaddrinfo_function> getaddrinfoCall{getaddrinfo_ptr, &scriptedGetaddrinfo};
};

TEST_F(LocalAddressList, IsTracedInItsOrder) {
    AddressList list(
        {"192.168.1.5", "fe80::a0b:1", "", "10.0.0.255", "2001:db8:ffff:10:0:abcd:ef01:1234"});
    resolverList = list.head();
    resolveLocalAdresses();
    EXPECT_EQ(allLocalAdresses, list.head());
    EXPECT_EQ(resolverQuestions, question);
    EXPECT_THAT(
        log.takeLines(),
        ElementsAre("[INFO ]==> (IPV4) 192.168.1.5", "[INFO ]==> (IPV6) fe80:0:0:0:0:0:a0b:1",
                    "[INFO ]==> (IPV4) 10.0.0.255",
                    "[INFO ]==> (IPV6) 2001:db8:ffff:10:0:abcd:ef01:1234"));
}

TEST_F(LocalAddressList, IsBuiltOnce) {
    AddressList list({"192.168.1.5"});
    resolverList = list.head();
    resolveLocalAdresses();
    (void)log.takeLines();
    resolveLocalAdresses();
    EXPECT_EQ(resolverQuestions, question);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(LocalAddressList, StaysEmptyWhenTheLookUpFails) {
    for (const int result : {EAI_NONAME, EAI_AGAIN, EAI_SYSTEM, 1}) {
        resolverResult = result;
        resolveLocalAdresses();
        EXPECT_EQ(allLocalAdresses, nullptr);
        EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]Bad host lookup"));
    }
    EXPECT_EQ(resolverQuestions, std::string(question) + question + question + question);
}

class StartUp : public LocalAddressList {
protected:
    // Runs the one-time part and gives its traces.
    std::vector<std::string> start(const char* ipv4, int port4, const char* ipv6, int port6) {
        socksModeActive.store(ipv4 != nullptr || ipv6 != nullptr ? 1 : 0);
        socksIpv4Val = ipv4;
        socksPort4Val = port4;
        socksIpv6Val = ipv6;
        socksPort6Val = port6;
        initializeStartup();
        return log.takeLines();
    }
    static void expectIpv4Server(const char* address, int port) {
        char text[INET_ADDRSTRLEN];
        EXPECT_EQ(serverIPV4.sin_family, AF_INET);
        EXPECT_STREQ(inet_ntop(AF_INET, &serverIPV4.sin_addr, text, sizeof(text)), address);
        EXPECT_EQ(ntohs(serverIPV4.sin_port), port);
    }
    static void expectIpv6Server(const char* address, int port) {
        char text[INET6_ADDRSTRLEN];
        EXPECT_EQ(serverIPV6.sin6_family, AF_INET6);
        EXPECT_STREQ(inet_ntop(AF_INET6, &serverIPV6.sin6_addr, text, sizeof(text)), address);
        EXPECT_EQ(ntohs(serverIPV6.sin6_port), port);
        EXPECT_EQ(serverIPV6.sin6_flowinfo, 0U);
        EXPECT_EQ(serverIPV6.sin6_scope_id, 0U);
    }
    static void expectNoIpv4Server() { EXPECT_EQ(serverIPV4.sin_family, 0); }
    static void expectNoIpv6Server() { EXPECT_EQ(serverIPV6.sin6_family, 0); }

    AddressList list{{"192.168.1.5"}};
};

TEST_F(StartUp, WithoutSocksServers) {
    inFreshProcess([this] {
        resolverList = list.head();
        EXPECT_THAT(start(nullptr, 0, nullptr, 0),
                    ElementsAre("[INFO ]===> WSAStartup : starting to resolve local addresses",
                                "[INFO ]==> (IPV4) 192.168.1.5",
                                "[INFO ]===> WSAStartup : local addresses solved"));
        expectNoIpv4Server();
        expectNoIpv6Server();
    });
}

TEST_F(StartUp, WithoutSocksModeServersAreNotPrepared) {
    inFreshProcess([this] {
        resolverList = list.head();
        socksIpv4Val = "10.0.0.1";
        socksIpv6Val = "::1";
        initializeStartup();
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("[INFO ]===> WSAStartup : starting to resolve local addresses",
                                "[INFO ]==> (IPV4) 192.168.1.5",
                                "[INFO ]===> WSAStartup : local addresses solved"));
        expectNoIpv4Server();
        expectNoIpv6Server();
    });
}

TEST_F(StartUp, WithAnIpv4Server) {
    inFreshProcess([this] {
        resolverList = list.head();
        EXPECT_THAT(
            start("10.0.0.1", 1081, nullptr, 0),
            ElementsAre("[INFO ]===> WSAStartup : starting to resolve local addresses",
                        "[INFO ]==> (IPV4) 192.168.1.5", "[INFO ]===> retrieving socks server info",
                        "[INFO ]===> IPV4 socks : 10.0.0.1(1081)",
                        "[INFO ]===> IPV6 val is NULL...",
                        "[INFO ]===> WSAStartup : local addresses solved"));
        expectIpv4Server("10.0.0.1", 1081);
        expectNoIpv6Server();
    });
}

TEST_F(StartUp, WithAnIpv6Server) {
    inFreshProcess([this] {
        resolverList = list.head();
        EXPECT_THAT(
            start(nullptr, 0, "2001:db8::1", 2001),
            ElementsAre("[INFO ]===> WSAStartup : starting to resolve local addresses",
                        "[INFO ]==> (IPV4) 192.168.1.5", "[INFO ]===> retrieving socks server info",
                        "[INFO ]===> IPV4 val is NULL...",
                        "[INFO ]===> IPV6 socks : 2001:db8::1(2001)",
                        "[INFO ]===> WSAStartup : local addresses solved"));
        expectNoIpv4Server();
        expectIpv6Server("2001:db8::1", 2001);
    });
}

TEST_F(StartUp, WithBothServersAndAFailedLookUp) {
    inFreshProcess([this] {
        resolverResult = EAI_NONAME;
        EXPECT_THAT(
            start("10.0.0.1", 2000, "::1", 2001),
            ElementsAre("[INFO ]===> WSAStartup : starting to resolve local addresses",
                        "[ERROR]Bad host lookup", "[INFO ]===> retrieving socks server info",
                        "[INFO ]===> IPV4 socks : 10.0.0.1(2000)",
                        "[INFO ]===> IPV6 socks : ::1(2001)",
                        "[INFO ]===> WSAStartup : local addresses solved"));
        expectIpv4Server("10.0.0.1", 2000);
        expectIpv6Server("::1", 2001);
    });
}

// Ports are cut to 16 bits in the address only; texts that are no addresses go unnoticed.
TEST_F(StartUp, WithOddServers) {
    inFreshProcess([this] {
        resolverList = list.head();
        EXPECT_THAT(
            start("nowhere", 70000, "nowhere", -1),
            ElementsAre("[INFO ]===> WSAStartup : starting to resolve local addresses",
                        "[INFO ]==> (IPV4) 192.168.1.5", "[INFO ]===> retrieving socks server info",
                        "[INFO ]===> IPV4 socks : nowhere(70000)",
                        "[INFO ]===> IPV6 socks : nowhere(-1)",
                        "[INFO ]===> WSAStartup : local addresses solved"));
        expectIpv4Server("255.255.255.255", 4464);
        expectIpv6Server("::", 65535);
    });
}

TEST_F(StartUp, RunsOnce) {
    inFreshProcess([this] {
        resolverList = list.head();
        start("10.0.0.1", 2000, nullptr, 0);
        EXPECT_THAT(start("10.0.0.2", 3000, "::1", 3001),
                    ElementsAre("[INFO ]===> WSAStartup : local addresses solved"));
        expectIpv4Server("10.0.0.1", 2000);
        expectNoIpv6Server();
        EXPECT_EQ(resolverQuestions, question);
    });
}

// A failed look-up is not repeated either.
TEST_F(StartUp, DoesNotRepeatAFailedLookUp) {
    inFreshProcess([this] {
        resolverResult = EAI_AGAIN;
        start(nullptr, 0, nullptr, 0);
        EXPECT_THAT(start(nullptr, 0, nullptr, 0),
                    ElementsAre("[INFO ]===> WSAStartup : local addresses solved"));
        EXPECT_EQ(resolverQuestions, question);
    });
}

}  // namespace
