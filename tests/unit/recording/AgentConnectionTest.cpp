#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScriptedSockets.h"
#include "recording/AgentInterface.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AgentConnection : public testing::Test {
protected:
    std::vector<std::string> callsOfExit(const char* address, const char* port) {
        AgentInterface recorder(address, port, nullptr);
        RecorderMessage message(RecorderMessageKind::exit, 0);
        recorder.sendAMessage(message);
        return sockets.takeCalls();
    }
    static auto callsTo(const std::string& destination) {
        return ElementsAre("socket(2, 1, 6)", "connect(40, 2, " + destination + ", 16)",
                           "send(40, \"<exit/>\\n\", 8, 0)", "close(40)");
    }

    ScriptedSockets sockets;
};

TEST_F(AgentConnection, GoesToTheDefaultAddressAndPort) {
    EXPECT_THAT(callsOfExit(nullptr, nullptr), callsTo("127.0.0.1:1092"));
}

TEST_F(AgentConnection, GoesToTheAddressGiven) {
    EXPECT_THAT(callsOfExit("10.1.2.3", nullptr), callsTo("10.1.2.3:1092"));
    EXPECT_THAT(callsOfExit("no address", nullptr), callsTo("255.255.255.255:1092"));
}

struct Port {
    const char* text;
    const char* number;
};

constexpr Port ports[] = {
    {"8080", "8080"}, {"1", "1"},    {"65535", "65535"}, {"65536", "0"}, {"70000", "4464"},
    {"0", "0"},       {"", "0"},     {"port", "0"},      {"12x", "12"},  {" 8080", "8080"},
    {"-1", "65535"},  {"0x50", "0"}, {"010", "10"},      {"+99", "99"},
};

TEST_F(AgentConnection, GoesToTheLow16BitsOfThePort) {
    for (const auto& [text, number] : ports) {
        EXPECT_THAT(callsOfExit(nullptr, text), callsTo(std::string("127.0.0.1:") + number))
            << text;
    }
}

TEST_F(AgentConnection, LongestAddressTextFits) {
    const std::string address = "127.0.0.2" + std::string(190, ' ');
    ASSERT_EQ(address.size(), 199U);
    EXPECT_THAT(callsOfExit(address.c_str(), nullptr), callsTo("127.0.0.2:1092"));
}

TEST_F(AgentConnection, OverlongAddressTextIsCut) {
    const std::string address = "127.0.0.2" + std::string(190, ' ') + std::string(5000, 'x');
    EXPECT_THAT(callsOfExit(address.c_str(), "8080"), callsTo("127.0.0.2:8080"));
}

TEST_F(AgentConnection, TextsMayGoAfterConstruction) {
    std::string address = "127.0.0.3";
    std::string port = "99";
    AgentInterface recorder(address.c_str(), port.c_str(), nullptr);
    address = "xxxxxxxxx";
    port = "xx";
    RecorderMessage message(RecorderMessageKind::exit, 0);
    recorder.sendAMessage(message);
    EXPECT_THAT(sockets.takeCalls(), callsTo("127.0.0.3:99"));
}

TEST_F(AgentConnection, EachMessageHasItsOwn) {
    AgentInterface recorder(nullptr, nullptr, nullptr);
    for (int i = 0; i < 3; ++i) {
        RecorderMessage message(RecorderMessageKind::exit, 0);
        recorder.sendAMessage(message);
        EXPECT_THAT(sockets.takeCalls(), callsTo("127.0.0.1:1092"));
    }
}

TEST_F(AgentConnection, ShortCountIsAccepted) {
    for (const ssize_t count : {0, 1, 7}) {
        sockets.sendAtMost(count);
        EXPECT_THAT(callsOfExit(nullptr, nullptr), callsTo("127.0.0.1:1092"));
    }
}

TEST_F(AgentConnection, LargeMessageGoesInOneSend) {
    const std::string payload(3000000, 'x');
    RecorderMessage message(RecorderMessageKind::send, 0);
    message.set(RecorderMessageAttribute::data, payload.data(), 3000000);
    AgentInterface recorder(nullptr, nullptr, nullptr);
    recorder.sendAMessage(message);
    EXPECT_EQ(sockets.takeCalls().size(), 4U);
    EXPECT_THAT(sockets.takeTexts(), ElementsAre("<send data_AS=\"" + payload + "\"/>\n"));
}

TEST_F(AgentConnection, MakingAndDestroyingAnInterfaceOpensNone) {
    { const AgentInterface recorder("127.0.0.1", "1092", nullptr); }
    EXPECT_THAT(sockets.takeCalls(), IsEmpty());
}

}  // namespace
