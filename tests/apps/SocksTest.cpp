#include <gtest/gtest.h>

#include <tuple>

#include "AppRun.h"
#include "SocksSetting.h"

namespace veltra::testing {

namespace {

std::string page() {
    std::string text;
    for (int line = 1; line <= 2000; ++line)
        text += std::to_string(line) + "\n";
    return text;
}

void expectRealDestination(const RecordedMessage& connect, const SocksSetting& setting, int port) {
    EXPECT_EQ(connect.values.at("family"), setting.recordedFamily());
    EXPECT_EQ(connect.values.at("ip"), setting.recordedAddress());
    EXPECT_EQ(connect.number("port"), port);
}

using ServerAndClient = std::tuple<SocksSetting, std::string>;

// The client fetches the page directly; under the agent, the SOCKS server fetches it for the
// client.
class Socks : public ::testing::TestWithParam<ServerAndClient> {
protected:
    const SocksSetting& setting() const { return std::get<0>(GetParam()); }

    AppRun fetch(const std::string& settings) const {
        return runBothWays(withSocksServer(setting()) + settings +
                           pageClients().at(std::get<1>(GetParam())) + "test -z \"$AGENT\" || " +
                           awaitLogLine("[.:]$port$") + "cmp fetched site/page\ncksum < fetched\n");
    }

    // Fails the test unless the client's one connection was the server's.
    int expectRerouted(const AppRun& run) const {
        const int port = std::stoi(run.files.at("port"));
        const RecordedMessage connect = onlyConnect(run.recording);
        expectRealDestination(connect, setting(), port);
        EXPECT_EQ(connect.number("sockserror"), 0);
        EXPECT_EQ(connect.values.count("error"), 0U);
        EXPECT_EQ(connect.values.count("loopback"), 0U);
        EXPECT_EQ(connectionsInLog(setting(), run.files.at("log"), port), 1) << run.files.at("log");
        EXPECT_EQ(count(run.recording, "close"), 1);
        return port;
    }
};

TEST_P(Socks, BringsThePageAndTheRecordingHasItsRealDestinationOnly) {
    const AppRun run = fetch("");
    expectRerouted(run);
    EXPECT_EQ(run.files.at("fetched"), page());
    EXPECT_EQ(count(run.recording, "send"), 0);
    EXPECT_EQ(count(run.recording, "receive"), 0);
}

TEST_P(Socks, DoubleLoggingRecordsTheConversationToo) {
    const AppRun run = fetch("export VELTRA_SOCKET_AGENT_DOUBLE_LOG_SOCKS=\n");
    const int port = expectRerouted(run);
    EXPECT_EQ(conversationWith(run.recording, port, "send").substr(0, 15), "GET /page HTTP/");
    const std::string answer = conversationWith(run.recording, port, "receive");
    EXPECT_EQ(answer.substr(0, 15), "HTTP/1.0 200 OK");
    EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), page());
}

INSTANTIATE_TEST_SUITE_P(RealServers, Socks,
                         ::testing::Combine(::testing::Values(SocksSetting{"microsocks", false},
                                                              SocksSetting{"microsocks", true},
                                                              SocksSetting{"danted", false},
                                                              SocksSetting{"danted", true}),
                                            ::testing::Values("curl", "pythonSockets",
                                                              "pythonEpoll")),
                         [](const ::testing::TestParamInfo<ServerAndClient>& way) {
                             return ::testing::PrintToString(std::get<0>(way.param)) +
                                    std::get<1>(way.param);
                         });

}  // namespace

}  // namespace veltra::testing
