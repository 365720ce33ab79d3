#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

TEST(Node, ServesAndFetchesAsWithoutTheAgent) {
    const AppRun run = runBothWays("$AGENT node --no-warnings " VELTRA_PROGRAMS "/httpTalk.mjs\n");
    EXPECT_EQ(run.recorded.output,
              "requests at once\tok\n"
              "a large answer\tok\n"
              "a large request\tok\n"
              "a missing page\tok\n"
              "a connection for each request\tok\n"
              "an echo\tok\n"
              "a refused connection\tok\n"
              "datagrams\tok\n"
              "a name\tok\n"
              "a child\tok\n");
    ASSERT_FALSE(run.recording.empty());
    EXPECT_EQ(run.recording.front().kind, "process");
    // The requests at once, one for each of 50 pages, and more that depend on what is kept open.
    EXPECT_GE(count(run.recording, "connect"), 250);
    for (const RecordedMessage& message : run.recording) {
        if (message.kind != "connect") continue;
        EXPECT_EQ(message.values.at("ip"), "127.0.0.1");
        EXPECT_EQ(message.number("error"), 115);
    }
}

}  // namespace

}  // namespace veltra::testing
