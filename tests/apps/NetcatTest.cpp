#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

TEST(Netcat, ClientSendsAndReceivesAndTheRecordingHoldsBoth) {
    const AppRun run = runBothWays(R"sh(
port=$(free_port)
seq 10 15 | nc -l -N 127.0.0.1 "$port" > heard &
wait_for "$port"
seq 1 5 | $AGENT nc -N 127.0.0.1 "$port"
wait $!
cat heard
)sh");
    EXPECT_EQ(run.recorded.output, "10\n11\n12\n13\n14\n15\n1\n2\n3\n4\n5\n");
    ASSERT_EQ(count(run.recording, "connect"), 1);
    EXPECT_EQ(count(run.recording, "close"), 1);
    EXPECT_EQ(run.recording.back().kind, "close");
    int port = 0;
    std::string ends;
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "connect") port = static_cast<int>(message.number("port"));
        if (message.kind == "receive") ends += message.number("length") == 0 ? "end " : "data ";
    }
    EXPECT_EQ(ends, "data end ");
    EXPECT_EQ(conversationWith(run.recording, port, "send"), "1\n2\n3\n4\n5\n");
    EXPECT_EQ(conversationWith(run.recording, port, "receive"), "10\n11\n12\n13\n14\n15\n");
}

// It accepts with a call that is not interposed, so its conversation is not seen.
TEST(Netcat, ServerTalksAsEverAndIsSeenListening) {
    const AppRun run = runBothWays(R"sh(
port=$(free_port)
seq 10 15 | $AGENT nc -l -N 127.0.0.1 "$port" > heard &
wait_for "$port"
seq 1 5 | nc -N 127.0.0.1 "$port"
wait $!
cat heard
)sh");
    EXPECT_EQ(run.recorded.output, "10\n11\n12\n13\n14\n15\n1\n2\n3\n4\n5\n");
    EXPECT_EQ(kindsOf(run.recording), "process addrinfo notrecorded notrecorded");
    EXPECT_EQ(run.recording[2].values.at("name"), "bind");
    EXPECT_EQ(run.recording[3].values.at("name"), "listen");
}

}  // namespace

}  // namespace veltra::testing
