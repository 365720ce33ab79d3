#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "Shell.h"

namespace veltra::testing {

namespace {

std::string numbersUpTo(int count) {
    std::string lines;
    for (int i = 1; i <= count; ++i) {
        lines += std::to_string(i) + "\n";
    }
    return lines;
}

TEST(LauncherRecording, GoesToStandardError) {
    const Outcome outcome = run("exec \"$RECORD\" \"$SEND\" text '<one/>\n' '<two/>\n'");
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "<one/>\n<two/>\n");
}

TEST(LauncherRecording, GoesToAFile) {
    Shell shell("exec \"$RECORD\" -o recording \"$SEND\" text '<one/>\n' '<two/>\n'");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(shell.file("recording"), "<one/>\n<two/>\n");
}

TEST(LauncherRecording, ReplacesAnEarlierOne) {
    Shell shell("echo earlier >recording; exec \"$RECORD\" -o recording true");
    EXPECT_EQ(shell.wait().exitStatus, 0);
    EXPECT_EQ(shell.file("recording"), "");
}

TEST(LauncherRecording, HasOneMessageInEachLine) {
    EXPECT_EQ(run("exec \"$RECORD\" \"$SEND\" text 'with\n' without 'with again\n'").errors,
              "with\nwithout\nwith again\n");
}

TEST(LauncherRecording, LosesNothing) {
    Shell shell("exec \"$RECORD\" -o recording \"$SEND\" numbered 3000");
    EXPECT_EQ(shell.wait().exitStatus, 0);
    EXPECT_EQ(shell.file("recording"), numbersUpTo(3000));
}

TEST(LauncherRecording, TakesAHugeMessage) {
    constexpr std::size_t size = 16 << 20;
    Shell shell("exec \"$RECORD\" -o recording \"$SEND\" large " + std::to_string(size));
    EXPECT_EQ(shell.wait().exitStatus, 0);
    EXPECT_TRUE(shell.file("recording") == std::string(size - 1, 'x') + "\n");
}

TEST(LauncherRecording, KeepsWhatADyingCommandSent) {
    Shell shell("exec \"$RECORD\" -o recording sh -c '\"$SEND\" numbered 100; kill -KILL $$'");
    EXPECT_EQ(shell.wait().exitStatus, 128 + SIGKILL);
    EXPECT_EQ(shell.file("recording"), numbersUpTo(100));
}

TEST(LauncherRecording, DoesNotWaitForProcessesThatTheCommandLeavesRunning) {
    Shell shell(
        "exec \"$RECORD\" -o recording sh -c 'sleep 1000 & echo $!; \"$SEND\" numbered 10'");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(::kill(std::stoi(outcome.output), SIGKILL), 0);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(shell.file("recording"), numbersUpTo(10));
}

TEST(Launcher, EndsWithTheCommandsExitStatus) {
    EXPECT_EQ(run("exec \"$RECORD\" true").exitStatus, 0);
    EXPECT_EQ(run("exec \"$RECORD\" sh -c 'exit 7'").exitStatus, 7);
    EXPECT_EQ(run("exec \"$RECORD\" sh -c 'exit 255'").exitStatus, 255);
    EXPECT_EQ(run("exec \"$RECORD\" sh -c 'kill -TERM $$'").exitStatus, 128 + SIGTERM);
}

TEST(Launcher, GivesTheCommandItsStandardStreams) {
    const Outcome outcome =
        run("echo in | \"$RECORD\" sh -c 'read word; echo $word out; echo $word error >&2'");
    EXPECT_EQ(outcome.output, "in out\n");
    EXPECT_EQ(outcome.errors, "in error\n");
}

TEST(Launcher, PreloadsTheLibrary) {
    const Outcome outcome = run(
        "exec \"$RECORD\" sh -c 'echo \"$LD_PRELOAD\"; grep -q \"$LD_PRELOAD\" /proc/self/maps'");
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, VELTRA_STAND_IN "\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST(Launcher, CanBeReachedByASymbolicLink) {
    EXPECT_EQ(run("ln -s \"$RECORD\" link; ./link \"$SEND\" text hello").errors, "hello\n");
}

TEST(Launcher, CanRecordItself) {
    // A sanitized launcher would refuse to run with another library before it.
    Shell shell(
        "export ASAN_OPTIONS=\"$ASAN_OPTIONS:verify_asan_link_order=0\";"
        "exec \"$RECORD\" -o outer \"$RECORD\" -o inner \"$SEND\" text hello");
    EXPECT_EQ(shell.wait().exitStatus, 0);
    EXPECT_EQ(shell.file("outer"), "");
    EXPECT_EQ(shell.file("inner"), "hello\n");
}

TEST(Launcher, LeavesNoDescriptorOfItsOwnToTheCommand) {
    const Outcome outcome =
        run("ls /proc/self/fd >direct; \"$RECORD\" -o recording ls /proc/self/fd >recorded;"
            "exec cmp direct recorded");
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.output << outcome.errors;
}

TEST(Launcher, WorksWithoutStandardStreams) {
    Shell shell(
        "\"$RECORD\" -o recording sh -c '\"$SEND\" text hello; ls /proc/$$/fd >recorded'"
        " <&- >&- 2>&-; echo $? >status; sh -c 'ls /proc/$$/fd >direct' <&- >&- 2>&-");
    shell.wait();
    EXPECT_EQ(shell.file("status"), "0\n");
    EXPECT_EQ(shell.file("recording"), "hello\n");
    EXPECT_EQ(shell.file("recorded"), shell.file("direct"));
}

}  // namespace

}  // namespace veltra::testing
