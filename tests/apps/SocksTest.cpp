#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// curl asks for the page directly; under the agent, microsocks fetches it for curl.
std::string fetchThroughSocks(const std::string& settings) {
    return R"sh(
port=$(free_port)
mkdir site
seq 1 2000 > site/page
serve python3 -m http.server --bind 127.0.0.1 --directory site "$port"
wait_for "$port"
socks=$(free_port)
serve microsocks -i 127.0.0.1 -p "$socks"
wait_for "$socks"
export VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS=127.0.0.1
export VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4="$socks"
)sh" + settings +
           R"sh(
$AGENT curl -s "http://127.0.0.1:$port/page" > fetched
cmp fetched site/page
cksum < fetched
)sh";
}

const RecordedMessage* connectOf(const AppRun& run) {
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "connect") return &message;
    }
    return nullptr;
}

void expectRerouted(const RecordedMessage& connect) {
    EXPECT_EQ(connect.values.at("family"), "AF_INET");
    EXPECT_EQ(connect.values.at("ip"), "127.0.0.1");
    EXPECT_EQ(connect.number("sockserror"), 0);
    EXPECT_EQ(connect.values.count("error"), 0U);
}

TEST(Socks, BringsThePageAndTheRecordingHasItsRealDestinationOnly) {
    const AppRun run = runBothWays(fetchThroughSocks(""));
    EXPECT_EQ(count(run.recording, "connect"), 1);
    EXPECT_EQ(count(run.recording, "close"), 1);
    EXPECT_EQ(count(run.recording, "send"), 0);
    EXPECT_EQ(count(run.recording, "receive"), 0);
    const RecordedMessage* const connect = connectOf(run);
    ASSERT_NE(connect, nullptr);
    expectRerouted(*connect);
}

TEST(Socks, DoubleLoggingRecordsTheConversationToo) {
    const AppRun run =
        runBothWays(fetchThroughSocks("export VELTRA_SOCKET_AGENT_DOUBLE_LOG_SOCKS="));
    const RecordedMessage* const connect = connectOf(run);
    ASSERT_NE(connect, nullptr);
    expectRerouted(*connect);
    const int port = static_cast<int>(connect->number("port"));
    const std::string request = conversationWith(run.recording, port, "send");
    EXPECT_EQ(request.substr(0, 20), "GET /page HTTP/1.1\r\n");
    // The request names the server that curl was told, so the recorded port has to be that.
    EXPECT_NE(request.find("\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n"),
              std::string::npos);
    const std::string answer = conversationWith(run.recording, port, "receive");
    EXPECT_EQ(answer.substr(0, 15), "HTTP/1.0 200 OK");
    std::string page;
    for (int line = 1; line <= 2000; ++line)
        page += std::to_string(line) + "\n";
    EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), page);
}

}  // namespace

}  // namespace veltra::testing
