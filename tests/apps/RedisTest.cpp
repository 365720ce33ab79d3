#include <gtest/gtest.h>

#include <map>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// A server on `port`, with `agent` in front of it.
std::string redisServer(const std::string& agent) {
    return R"sh(
port=$(free_port)
)sh" + agent +
           R"sh( redis-server --port "$port" --bind 127.0.0.1 --save '' --dir "$PWD" --logfile "$PWD/log" &
wait_for "$port"
)sh";
}

const std::string shutDown = R"sh(
redis-cli -p "$port" SHUTDOWN NOSAVE
wait
)sh";

// All that was sent, respectively received, on whatever socket.
std::string allData(const std::vector<RecordedMessage>& recording, const std::string& kind) {
    std::string data;
    for (const RecordedMessage& message : recording) {
        if (message.kind == kind && !message.values.contains("error") &&
            message.number("length") != 0) {
            data += message.values.at("data");
        }
    }
    return data;
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size()))
        ++found;
    return found;
}

// How many connections were made: a connect that is still in progress may be asked about again.
std::size_t connectionCount(const std::vector<RecordedMessage>& recording) {
    std::map<long long, int> byLocalPort;
    for (const RecordedMessage& message : recording) {
        if (message.kind == "connect") ++byLocalPort[message.number("localport")];
    }
    return byLocalPort.size();
}

TEST(Redis, ClientTalksAndTheRecordingHoldsEveryWord) {
    const AppRun run = runBothWays(redisServer("") + R"sh(
printf 'SET key "a value"\nGET key\nPING\n' | $AGENT redis-cli -p "$port"
)sh" + shutDown);
    ASSERT_FALSE(run.recording.empty());
    EXPECT_EQ(run.recording.front().kind, "process");
    const std::string sent = allData(run.recording, "send");
    const std::string received = allData(run.recording, "receive");
    EXPECT_NE(sent.find("*3\r\n$3\r\nSET\r\n$3\r\nkey\r\n$7\r\na value\r\n"), std::string::npos)
        << sent;
    EXPECT_NE(received.find("+OK\r\n$7\r\na value\r\n+PONG\r\n"), std::string::npos) << received;
}

TEST(Redis, BenchmarkIsRecordedInFull) {
    const AppRun run = runBothWays(redisServer("") + R"sh(
$AGENT redis-benchmark -p "$port" -n 300 -c 5 -d 8 -t set,get -q > rates
redis-cli -p "$port" GET key:__rand_int__
redis-cli -p "$port" INFO commandstats | grep -E '^cmdstat_(set|get):' | cut -d, -f1 | sort
)sh" + shutDown);
    const std::string value = run.recorded.output.substr(0, 8);
    EXPECT_EQ(run.recorded.output, value + "\ncmdstat_get:calls=301\ncmdstat_set:calls=300\n");
    // One connection asks for the server's settings, and five more send each of the two commands.
    EXPECT_EQ(count(run.recording, "process"), 1);
    EXPECT_EQ(connectionCount(run.recording), 11U);
    EXPECT_EQ(count(run.recording, "addrinfo"), 11);
    EXPECT_EQ(count(run.recording, "close"), 11);
    const std::string sent = allData(run.recording, "send");
    const std::string received = allData(run.recording, "receive");
    EXPECT_EQ(
        occurrences(sent, "*3\r\n$3\r\nSET\r\n$16\r\nkey:__rand_int__\r\n$8\r\n" + value + "\r\n"),
        300U);
    EXPECT_EQ(occurrences(sent, "*2\r\n$3\r\nGET\r\n$16\r\nkey:__rand_int__\r\n"), 300U);
    EXPECT_EQ(occurrences(received, "+OK\r\n"), 300U);
    EXPECT_EQ(occurrences(received, "$8\r\n" + value + "\r\n"), 300U);
}

// It accepts with a call that is not interposed, so its clients' words are not seen.
TEST(Redis, ServerServesUnderLoadAndIsSeenListening) {
    const AppRun run = runBothWays(redisServer("$AGENT") + R"sh(
redis-benchmark -p "$port" -n 2000 -c 20 -t set,get -q > rates
redis-cli -p "$port" SET key value
redis-cli -p "$port" GET key
redis-cli -p "$port" INFO commandstats | grep -E '^cmdstat_(set|get):' | cut -d, -f1 | sort
)sh" + shutDown);
    EXPECT_EQ(run.recorded.output, "OK\nvalue\ncmdstat_get:calls=2001\ncmdstat_set:calls=2001\n");
    EXPECT_EQ(kindsOf(run.recording), "process addrinfo notrecorded notrecorded");
    EXPECT_EQ(run.recording[2].values.at("name"), "bind");
    EXPECT_EQ(run.recording[3].values.at("name"), "listen");
}

}  // namespace

}  // namespace veltra::testing
