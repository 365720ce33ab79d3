#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <string>

#include "Shell.h"
#include "recorder/FileDescriptor.h"

namespace veltra::testing {

namespace {

TEST(LauncherOutput, GoesToAFileNamedAfterTheCommand) {
    Shell shell("exec \"$RECORD\" -o '%n-%p-100%%' sh -c 'echo $$; exec \"$SEND\" text hello'");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.errors, "");
    const std::string process = outcome.output.substr(0, outcome.output.find('\n'));
    EXPECT_EQ(shell.file("sh-" + process + "-100%"), "hello\n");
}

TEST(LauncherOutput, HasNoOtherPlaceholdersInItsName) {
    Shell shell("exec \"$RECORD\" -o '%x' echo run");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
              "veltra-record: '%x': a percent sign in a file name stands before 'p' (process id), "
              "'n' (name) or another percent sign\n");
}

TEST(LauncherOutput, GoesToStandardOutput) {
    const Outcome outcome = run("exec \"$RECORD\" -o - sh -c '\"$SEND\" text hello; exit 7'");
    EXPECT_EQ(outcome.exitStatus, 7);
    EXPECT_EQ(outcome.output, "hello\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST(LauncherOutput, CannotGoToAClosedStandardOutput) {
    for (const char* command : {"\"$SEND\" text x", "sh -c '\"$SEND\" text x; exit 7'"}) {
        const Outcome outcome = run(std::string("exec \"$RECORD\" -o - ") + command + " >&-");
        EXPECT_EQ(outcome.exitStatus, command[0] == 's' ? 7 : 1);
        EXPECT_EQ(outcome.errors,
                  "veltra-record: cannot write the whole recording to standard output: Bad file "
                  "descriptor\n");
    }
}

TEST(LauncherOutput, OfHelpAndVersionCannotGoToAClosedStandardOutput) {
    for (const char* script : {"exec \"$RECORD\" --help >&-", "exec \"$RECORD\" --version >&-",
                               "exec \"$RECORD\" --help >/dev/full"}) {
        const Outcome outcome = run(script);
        EXPECT_EQ(outcome.exitStatus, 1) << script;
        EXPECT_EQ(outcome.errors, "veltra-record: cannot write to standard output\n") << script;
    }
}

TEST(LauncherOutput, IsCutOffWhereTheFileMayGrowNoFurther) {
    Shell shell("ulimit -f 1; exec \"$RECORD\" -o recording \"$SEND\" large 3000");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.errors,
              "veltra-record: cannot write the whole recording to recording: File too large\n");
    const std::string recording = shell.file("recording");
    EXPECT_EQ(recording, std::string(recording.size(), 'x'));
    EXPECT_LT(recording.size(), 3000U);
    EXPECT_GT(recording.size(), 0U);
}

// A pipe that nobody reads, and that is not broken.
class UnreadPipe : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
        end_ = FileDescriptor(::open(path_.c_str(), O_RDWR | O_CLOEXEC));
        ASSERT_TRUE(end_.isOpen());
    }

    // Runs the launcher with a command that does not mind being asked to end, and that sends more
    // than the pipe takes. Asks the launcher to end after that.
    Outcome recordAndEnd(const std::string& launcher, int exitStatus) const {
        Shell shell("exec " + launcher + sendMuch(exitStatus), path_);
        shell.waitForOutput("sent");
        ::kill(shell.process(), SIGTERM);
        return shell.wait();
    }

    static std::string sendMuch(int exitStatus) {
        return " sh -c 'trap \"\" TERM; \"$SEND\" large 1000000; echo sent; exit " +
               std::to_string(exitStatus) + "'";
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_.path() / "pipe";
    FileDescriptor end_;
};

TEST_F(UnreadPipe, AsStandardErrorDoesNotKeepTheLauncherFromEnding) {
    EXPECT_EQ(recordAndEnd("2>\"$SUBJECT\" \"$RECORD\"", 0).exitStatus, 1);
    EXPECT_EQ(recordAndEnd("2>\"$SUBJECT\" \"$RECORD\"", 7).exitStatus, 7);
}

TEST_F(UnreadPipe, AsFileDoesNotKeepTheLauncherFromEnding) {
    const Outcome outcome = recordAndEnd("\"$RECORD\" -o \"$SUBJECT\"", 7);
    EXPECT_EQ(outcome.exitStatus, 7);
    EXPECT_EQ(outcome.errors, "veltra-record: cannot write the whole recording to " + path_ +
                                  ": nobody reads it\n");
}

TEST_F(UnreadPipe, IsWaitedForUntilSomebodyReadsIt) {
    Shell shell("exec \"$RECORD\" -o \"$SUBJECT\"" + sendMuch(0), path_);
    shell.waitForOutput("sent");
    Shell reader("head -c 1000000 \"$SUBJECT\" | wc -c", path_);
    EXPECT_EQ(reader.wait().output, "1000000\n");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.errors, "");
}

}  // namespace

}  // namespace veltra::testing
