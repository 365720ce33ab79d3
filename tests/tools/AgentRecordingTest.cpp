#include <gtest/gtest.h>

#include <string>

#include "Shell.h"

namespace veltra::testing {

namespace {

constexpr const char* conversation =
    "exec \"$RECORD\" -o recording -- python3 -c '"
    "import socket\n"
    "listener = socket.create_server((\"127.0.0.1\", 0))\n"
    "client = socket.create_connection(listener.getsockname())\n"
    "server, address = listener.accept()\n"
    "client.sendall(b\"a question\")\n"
    "print(server.recv(100).decode())\n"
    "server.sendall(b\"an answer\")\n"
    "print(client.recv(100).decode())\n"
    "client.close()\n"
    "'";

class AgentRecording : public ::testing::Test {
protected:
    void SetUp() override {
        Shell shell(conversation);
        outcome = shell.wait();
        recording = shell.file("recording");
    }

    // Whether a message of this kind, up to its end, contains the attribute.
    bool hasMessage(const std::string& kind, const std::string& attribute) const {
        for (std::size_t start = recording.find("<" + kind + " "); start != std::string::npos;
             start = recording.find("<" + kind + " ", start + 1)) {
            const std::string message =
                recording.substr(start, recording.find('\n', start) - start);
            if (message.find(attribute) != std::string::npos) return true;
        }
        return false;
    }

    Outcome outcome{};
    std::string recording;
};

TEST_F(AgentRecording, DoesNotDisturbTheCommand) {
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, "a question\nan answer\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(AgentRecording, BeginsWithTheProcess) {
    EXPECT_TRUE(recording.starts_with("<process ")) << recording;
}

// Of the two sides only the client's: Python accepts by a call that the agent does not interpose.
TEST_F(AgentRecording, HasTheWholeConversation) {
    EXPECT_TRUE(hasMessage("connect", "ip_AS=\"127.0.0.1\"")) << recording;
    EXPECT_TRUE(hasMessage("send", "data_AS=\"a question\"")) << recording;
    EXPECT_TRUE(hasMessage("receive", "data_AS=\"an answer\"")) << recording;
    EXPECT_TRUE(hasMessage("close", "socket_I8=")) << recording;
}

TEST_F(AgentRecording, HasNanosecondStamps) {
    for (const char* kind : {"process", "connect", "send", "receive", "close"}) {
        EXPECT_TRUE(hasMessage(kind, " timestamp_ns_I8=\"")) << kind << "\n" << recording;
    }
}

TEST_F(AgentRecording, HasOneMessageInEachLine) {
    ASSERT_TRUE(recording.ends_with("/>\n")) << recording;
    for (std::size_t start = 0; start < recording.size();) {
        const std::size_t end = recording.find('\n', start);
        EXPECT_EQ(recording[start], '<') << recording.substr(start, end - start);
        EXPECT_EQ(recording.substr(end - 2, 2), "/>") << recording.substr(start, end - start);
        start = end + 1;
    }
}

}  // namespace

}  // namespace veltra::testing
