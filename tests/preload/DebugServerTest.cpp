#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "ExpectedText.h"
#include "support/ListeningServer.h"
#include "tools/TemporaryFolder.h"

namespace veltra::testing {

namespace {

// A run whose trace file stays, as it was written.
class DebugServerRun {
public:
    explicit DebugServerRun(const std::string& scenario, std::uint16_t port) {
        settings_ = quietProbe("debugServer", scenario);
        settings_.environment["VELTRA_SOCKET_AGENT_DEBUG_LVL"] = "1023";
        settings_.environment["VELTRA_SOCKET_AGENT_DEBUG_DIR"] = folder_.path();
        settings_.environment["VELTRA_SOCKET_AGENT_DEBUG_IP"] = "127.0.0.1";
        settings_.environment["VELTRA_SOCKET_AGENT_DEBUG_PORT"] = std::to_string(port);
    }

    void run() { messages_ = runProbe(settings_).messages; }

    const Lines& messages() const { return messages_; }

    // The trace file without its header.
    std::string trace() const {
        std::string text;
        for (const auto& file : std::filesystem::directory_iterator(folder_.path()))
            text += contentOf(file);
        return text.substr(std::min(text.size(), text.find('\n') + 1));
    }

    // What stands in the trace file from the first line that the debug server gets.
    std::string traceFromConnection() const {
        const std::string text = trace();
        const std::size_t begin = text.find("[INFO ]connect() done on debug server\n");
        return begin == std::string::npos ? "" : text.substr(begin);
    }

private:
    const TemporaryFolder folder_;
    ProbeSettings settings_;
    Lines messages_;
};

// True when the text ends with the trace of the last call, whose socket may have any number.
bool isWhole(const std::string& text) {
    const std::string end = " (connect)\n";
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The run is over when this many events are recorded: the process, connect, send and close.
constexpr std::size_t eventCount = 4;

TEST(DebugServerOfAProgram, GetsTheTraceFileByteForByte) {
    ListeningServer server;
    std::string received;
    std::thread reader([&] {
        server.accept();
        received = server.takeToEnd();
    });
    DebugServerRun run("talk", server.port());
    run.run();
    reader.join();
    EXPECT_EQ(run.messages().size(), eventCount);
    EXPECT_EQ(received, run.traceFromConnection());
    EXPECT_TRUE(isWhole(received));
    EXPECT_NE(received.find("[INFO ]buffer resized to : "), std::string::npos);
    EXPECT_NE(run.trace().find("[INFO ]************************\n"
                               "[INFO ]** DebugServer active **\n"
                               "[INFO ]************************\n"
                               "[INFO ]Debug server IP : 127.0.0.1\n"
                               "[INFO ]Debug server Port : " +
                               std::to_string(server.port()) +
                               "\n"
                               "[INFO ]connect() done on debug server\n"),
              std::string::npos);
}

TEST(DebugServerOfAProgram, IsSwitchedOffAsDelivered) {
    ListeningServer server;
    DebugServerRun run("off", server.port());
    run.run();
    EXPECT_EQ(run.messages().size(), eventCount);
    EXPECT_EQ(run.trace().find("ebug"), std::string::npos);
    EXPECT_TRUE(isWhole(run.trace()));
}

TEST(DebugServerOfAProgram, ThatNobodyRunsIsTracedOnce) {
    std::uint16_t port = 0;
    {
        const ListeningServer gone;
        port = gone.port();
    }
    DebugServerRun run("talk", port);
    run.run();
    EXPECT_EQ(run.messages().size(), eventCount);
    EXPECT_NE(run.trace().find("[ERROR]connect() failed with error code (SOCKET ERROR : 111 "
                               "WSAECONNREFUSED : Connection refused):\n"),
              std::string::npos);
    EXPECT_TRUE(isWhole(run.trace()));
}

TEST(DebugServerOfAProgram, ThatNeverReadsHoldsNobodyForLong) {
    ListeningServer server;
    DebugServerRun run("talk-much", server.port());
    run.run();
    EXPECT_EQ(run.messages().size(), eventCount);
    server.accept();
    const std::string received = server.takeToEnd();
    const std::string trace = run.traceFromConnection();
    EXPECT_TRUE(isWhole(trace));
    EXPECT_LT(received.size(), trace.size());
    EXPECT_TRUE(trace.compare(0, received.size(), received) == 0);
}

TEST(DebugServerOfAProgram, ThatResetsTheConnectionDisturbsNobody) {
    ListeningServer server;
    std::string received;
    std::thread reader([&] {
        server.accept();
        while (received.size() < 100000)
            received += server.take();
        server.goAway();
    });
    DebugServerRun run("talk-much", server.port());
    run.run();
    reader.join();
    EXPECT_EQ(run.messages().size(), eventCount);
    const std::string trace = run.traceFromConnection();
    EXPECT_TRUE(isWhole(trace));
    EXPECT_TRUE(trace.compare(0, received.size(), received) == 0);
}

}  // namespace

}  // namespace veltra::testing
