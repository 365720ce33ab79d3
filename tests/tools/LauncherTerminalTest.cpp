#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Shell.h"
#include "Terminal.h"

namespace veltra::testing {

namespace {

constexpr const char* record = "exec " VELTRA_LAUNCHER " ";
constexpr const char* sendAndWait = " sh -c '" VELTRA_MESSAGE_SENDER
                                    " text \"<connect />\" x; until [ -e go ]; do sleep 0.02; done;"
                                    " exit 5'";
constexpr const char* liveText = "recording: 2 messages, 12 bytes, 1 connection";

class LauncherTerminal : public ::testing::Test {
protected:
    const TemporaryFolder folder_;
};

TEST_F(LauncherTerminal, ShowsHowTheRecordingGrows) {
    Terminal terminal(std::string(record) + "-o recording" + sendAndWait, folder_.path());
    terminal.readUntil(liveText);
    folder_.makeFile("go");
    const std::string shown = terminal.readUntil("\r\n");
    EXPECT_EQ(terminal.wait(), 5);
    EXPECT_EQ(shown.substr(shown.find(liveText) - 4),
              std::string("\r\x1b[K") + liveText +
                  "\r\r\x1b[Kveltra-record: 2 messages, 12 bytes, 1 connection in recording\r\n");
    EXPECT_EQ(contentOf(folder_.path() / "recording"), "<connect />\nx\n");
}

TEST_F(LauncherTerminal, ShowsNothingOfAShortRecordingButItsEnd) {
    Terminal terminal(std::string(record) + "-o recording " VELTRA_MESSAGE_SENDER " text x",
                      folder_.path());
    EXPECT_EQ(terminal.readUntil("at the end"),
              "veltra-record: 1 message, 1 byte, 0 connections in recording\r\n");
    EXPECT_EQ(terminal.wait(), 0);
}

TEST_F(LauncherTerminal, ShowsNothingToThoseWhoWantQuiet) {
    Terminal terminal(std::string(record) + "-q -o recording " VELTRA_MESSAGE_SENDER " text x",
                      folder_.path());
    EXPECT_EQ(terminal.readUntil("at the end"), "");
    EXPECT_EQ(terminal.wait(), 0);
}

TEST_F(LauncherTerminal, ShowsTheRecordingAloneIfItGoesThere) {
    for (const char* options : {"", "-o - ", "-o /dev/tty "}) {
        Terminal terminal(record + std::string(options) + VELTRA_MESSAGE_SENDER " text x",
                          folder_.path());
        EXPECT_EQ(terminal.readUntil("at the end"), "x\r\n") << options;
        EXPECT_EQ(terminal.wait(), 0);
    }
}

TEST_F(LauncherTerminal, ShowsNothingInTheBackground) {
    Terminal terminal(std::string("set -m; " VELTRA_LAUNCHER " -o recording") + sendAndWait +
                          " & sleep 0.8; >go; wait $!; exit $?",
                      folder_.path());
    const std::string shown = terminal.readUntil("at the end");
    EXPECT_EQ(terminal.wait(), 5);
    EXPECT_EQ(shown.find("recording:"), std::string::npos) << shown;
}

}  // namespace

}  // namespace veltra::testing
