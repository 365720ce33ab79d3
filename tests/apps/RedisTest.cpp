#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

TEST(Redis, ClientTalksAndTheRecordingHoldsEveryWord) {
    const AppRun run = runBothWays(R"sh(
port=$(free_port)
redis-server --port "$port" --bind 127.0.0.1 --save '' --dir "$PWD" --logfile "$PWD/log" &
wait_for "$port"
printf 'SET key "a value"\nGET key\nPING\n' | $AGENT redis-cli -p "$port"
redis-cli -p "$port" SHUTDOWN NOSAVE
wait
)sh");
    ASSERT_FALSE(run.recording.empty());
    EXPECT_EQ(run.recording.front().kind, "process");
    std::string sent;
    std::string received;
    for (const RecordedMessage& message : run.recording) {
        if (message.values.contains("error")) continue;
        if (message.kind == "send") sent += message.values.at("data");
        if (message.kind == "receive") received += message.values.at("data");
    }
    EXPECT_NE(sent.find("*3\r\n$3\r\nSET\r\n$3\r\nkey\r\n$7\r\na value\r\n"), std::string::npos)
        << sent;
    EXPECT_NE(received.find("+OK\r\n$7\r\na value\r\n+PONG\r\n"), std::string::npos) << received;
}

TEST(Redis, ServerServesUnderTheAgent) {
    const AppRun run = runBothWays(R"sh(
port=$(free_port)
$AGENT redis-server --port "$port" --bind 127.0.0.1 --save '' --dir "$PWD" --logfile "$PWD/log" &
wait_for "$port"
redis-benchmark -p "$port" -n 200 -c 5 -t set,get -q >/dev/null
redis-cli -p "$port" SET key value
redis-cli -p "$port" GET key
redis-cli -p "$port" SHUTDOWN NOSAVE
wait
)sh");
    EXPECT_EQ(count(run.recording, "process"), 1);
}

}  // namespace

}  // namespace veltra::testing
