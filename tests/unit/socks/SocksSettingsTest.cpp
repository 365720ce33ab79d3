#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "SocksTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* ipv4Variable = "VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS";
constexpr const char* port4Variable = "VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4";
constexpr const char* ipv6Variable = "VELTRA_SOCKET_AGENT_SOCKS_IPV6_ADDRESS";
constexpr const char* port6Variable = "VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV6";
constexpr const char* timeoutVariable = "VELTRA_SOCKET_AGENT_SOCKS_MAX_TIMEOUT";

class SocksSettings : public SocksTest {
protected:
    SocksSettings() { forget(); }
    ~SocksSettings() override { forget(); }

    static void set(const char* variable, const char* value) { setenv(variable, value, 1); }
    static void expectInactive() {
        EXPECT_EQ(socksModeActive.load(), 0);
        EXPECT_EQ(socksDisplayMode.load(), 0);
        EXPECT_EQ(socksIpv4Val, nullptr);
        EXPECT_EQ(socksIpv6Val, nullptr);
    }
    static auto inactiveBanner() {
        return ElementsAre("[INFO ]**************************", "[INFO ]** SocksMode not active **",
                           "[INFO ]**************************");
    }
    static auto activeBanner(const std::string& ipv4, const std::string& ipv6, int port4,
                             int port6) {
        return ElementsAre("[INFO ]**********************", "[INFO ]** SocksMode active **",
                           "[INFO ]**********************", "[INFO ]Socks server IPV4 IP : " + ipv4,
                           "[INFO ]Socks server IPV6 IP : " + ipv6,
                           "[INFO ]Socks server IPV4 Port : " + std::to_string(port4),
                           "[INFO ]Socks server IPV6 Port : " + std::to_string(port6));
    }

private:
    static void forget() {
        for (const char* variable :
             {ipv4Variable, port4Variable, ipv6Variable, port6Variable, timeoutVariable}) {
            unsetenv(variable);
        }
        socksIpv4Val = nullptr;
        socksIpv6Val = nullptr;
        socksPort4Val = 0;
        socksPort6Val = 0;
        connectMaxTimeout.store(10);
    }
};

TEST_F(SocksSettings, None) {
    initializeSocksParam();
    expectInactive();
    EXPECT_EQ(socksPort4Val, 0);
    EXPECT_EQ(socksPort6Val, 0);
    EXPECT_EQ(connectMaxTimeout.load(), 10);
    EXPECT_THAT(log.takeLines(), inactiveBanner());
}

TEST_F(SocksSettings, NoAddress) {
    set(port4Variable, "2000");
    set(port6Variable, "2001");
    set(timeoutVariable, "33");
    initializeSocksParam();
    expectInactive();
    EXPECT_EQ(socksPort4Val, 0);
    EXPECT_EQ(socksPort6Val, 0);
    EXPECT_EQ(connectMaxTimeout.load(), 10);
    EXPECT_THAT(log.takeLines(), inactiveBanner());
}

TEST_F(SocksSettings, Ipv4Only) {
    set(ipv4Variable, "10.0.0.1");
    set(port6Variable, "2001");
    initializeSocksParam();
    EXPECT_EQ(socksModeActive.load(), 1);
    EXPECT_EQ(socksDisplayMode.load(), 1);
    EXPECT_STREQ(socksIpv4Val, "10.0.0.1");
    EXPECT_EQ(socksIpv4Val, getenv(ipv4Variable));
    EXPECT_EQ(socksIpv6Val, nullptr);
    EXPECT_EQ(socksPort4Val, 1081);
    EXPECT_EQ(socksPort6Val, 0);
    EXPECT_EQ(connectMaxTimeout.load(), 10);
    EXPECT_THAT(log.takeLines(), activeBanner("10.0.0.1", "(null)", 1081, 0));
}

TEST_F(SocksSettings, Ipv6Only) {
    set(ipv6Variable, "2001:db8::1");
    set(port4Variable, "2000");
    set(timeoutVariable, "33");
    initializeSocksParam();
    EXPECT_EQ(socksModeActive.load(), 1);
    EXPECT_EQ(socksIpv4Val, nullptr);
    EXPECT_EQ(socksIpv6Val, getenv(ipv6Variable));
    EXPECT_EQ(socksPort4Val, 0);
    EXPECT_EQ(socksPort6Val, 1081);
    EXPECT_EQ(connectMaxTimeout.load(), 33);
    EXPECT_THAT(log.takeLines(), activeBanner("(null)", "2001:db8::1", 0, 1081));
}

TEST_F(SocksSettings, All) {
    set(ipv4Variable, "10.0.0.1");
    set(port4Variable, "2000");
    set(ipv6Variable, "::1");
    set(port6Variable, "2001");
    set(timeoutVariable, "1");
    initializeSocksParam();
    EXPECT_EQ(socksPort4Val, 2000);
    EXPECT_EQ(socksPort6Val, 2001);
    EXPECT_EQ(connectMaxTimeout.load(), 1);
    EXPECT_THAT(log.takeLines(), activeBanner("10.0.0.1", "::1", 2000, 2001));
}

TEST_F(SocksSettings, EmptyAddressesCount) {
    set(ipv4Variable, "");
    set(ipv6Variable, "no address");
    initializeSocksParam();
    EXPECT_EQ(socksModeActive.load(), 1);
    EXPECT_THAT(log.takeLines(), activeBanner("", "no address", 1081, 1081));
}

struct Number {
    const char* text;
    int value;  // 0: the default stays
};

constexpr Number numbers[] = {
    {"1", 1},      {"65535", 65535}, {"70000", 70000}, {"-5", -5}, {" 12", 12},
    {"12abc", 12}, {"+7", 7},        {"010", 10},      {"0", 0},   {"abc", 0},
    {"", 0},       {"0x50", 0},      {"-0", 0},        {"x1", 0},
};

TEST_F(SocksSettings, Numbers) {
    set(ipv4Variable, "10.0.0.1");
    set(ipv6Variable, "::1");
    for (const auto& [text, value] : numbers) {
        connectMaxTimeout.store(10);
        set(port4Variable, text);
        set(port6Variable, text);
        set(timeoutVariable, text);
        initializeSocksParam();
        const int port = value != 0 ? value : 1081;
        EXPECT_EQ(socksPort4Val, port) << text;
        EXPECT_EQ(socksPort6Val, port) << text;
        EXPECT_EQ(connectMaxTimeout.load(), value != 0 ? value : 10) << text;
        EXPECT_THAT(log.takeLines(), activeBanner("10.0.0.1", "::1", port, port));
    }
}

TEST_F(SocksSettings, TimeoutWithEitherAddress) {
    set(timeoutVariable, "44");
    set(ipv4Variable, "10.0.0.1");
    initializeSocksParam();
    EXPECT_EQ(connectMaxTimeout.load(), 44);
    // An absent or useless value keeps what there was.
    set(timeoutVariable, "abc");
    initializeSocksParam();
    EXPECT_EQ(connectMaxTimeout.load(), 44);
    unsetenv(timeoutVariable);
    initializeSocksParam();
    EXPECT_EQ(connectMaxTimeout.load(), 44);
}

TEST_F(SocksSettings, ReadAgain) {
    set(ipv4Variable, "10.0.0.1");
    set(port4Variable, "2000");
    initializeSocksParam();
    initializeSocksParam();
    EXPECT_EQ(log.takeLines().size(), 14U);
    unsetenv(ipv4Variable);
    initializeSocksParam();
    EXPECT_EQ(socksModeActive.load(), 0);
    EXPECT_EQ(socksIpv4Val, nullptr);
    EXPECT_THAT(log.takeLines(), inactiveBanner());
}

TEST_F(SocksSettings, DisplayModeNeedsADebugLevel) {
    set(ipv4Variable, "10.0.0.1");
    debugLvl.store(0);
    initializeSocksParam();
    EXPECT_EQ(socksModeActive.load(), 1);
    EXPECT_EQ(socksDisplayMode.load(), 0);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    debugLvl.store(1);
    initializeSocksParam();
    EXPECT_EQ(socksDisplayMode.load(), 1);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(SocksSettings, LockCanBeMadeAndDestroyed) {
    FinalizeSocks();
    InitializeSocks();
    EXPECT_EQ(pthread_mutex_trylock(&criticalSectionSocks), 0);
    EXPECT_EQ(EndCriticalSectionBase(&criticalSectionSocks), 0);
}

}  // namespace
