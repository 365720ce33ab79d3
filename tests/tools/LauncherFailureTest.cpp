#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Shell.h"

namespace veltra::testing {

namespace {

namespace fs = std::filesystem;

void expectFailure(const std::string& script, int exitStatus, const std::string& error,
                   const std::string& subject = "") {
    const Outcome outcome = run(script, subject);
    EXPECT_EQ(outcome.exitStatus, exitStatus) << script;
    EXPECT_EQ(outcome.output, "") << script;
    EXPECT_EQ(outcome.errors, "veltra-record: " + error + "\n") << script;
}

TEST(LauncherFailure, CommandIsNotThere) {
    expectFailure("exec \"$RECORD\" no-such-command", 127, "no-such-command: command not found");
    expectFailure("exec \"$RECORD\" ./no-such-command", 127,
                  "./no-such-command: No such file or directory");
}

TEST(LauncherFailure, CommandIsNotExecutable) {
    expectFailure("echo >file; exec \"$RECORD\" ./file", 126,
                  "cannot execute ./file: Permission denied");
    expectFailure("exec \"$RECORD\" /", 126, "cannot execute /: Is a directory");
}

TEST(LauncherFailure, CommandIsNoProgram) {
    expectFailure("echo text >file; chmod +x file; exec \"$RECORD\" ./file", 126,
                  "cannot execute ./file: Exec format error");
    expectFailure("echo '#!/no/such/interpreter' >file; chmod +x file; exec \"$RECORD\" ./file",
                  126, "cannot execute ./file: the interpreter that it asks for does not exist");
}

TEST(LauncherFailure, OfTheCommandSparesAnEarlierRecording) {
    Shell shell("echo earlier >recording; exec \"$RECORD\" -o recording no-such-command");
    EXPECT_EQ(shell.wait().exitStatus, 127);
    EXPECT_EQ(shell.file("recording"), "earlier\n");
}

TEST(LauncherFailure, FileCannotBeOpened) {
    expectFailure("exec \"$RECORD\" -o no/such/folder echo run", 1,
                  "cannot write to no/such/folder: No such file or directory");
    expectFailure("exec \"$RECORD\" -o / echo run", 1, "cannot write to /: Is a directory");
}

TEST(LauncherFailure, FileIsFull) {
    const std::string error =
        "cannot write the whole recording to /dev/full: No space left on device";
    expectFailure("exec \"$RECORD\" -o /dev/full \"$SEND\" numbered 10", 1, error);
    expectFailure("exec \"$RECORD\" -o /dev/full sh -c '\"$SEND\" numbered 10; exit 7'", 7, error);
    EXPECT_EQ(run("exec \"$RECORD\" -o /dev/full true").exitStatus, 0);
}

TEST(LauncherFailure, StandardErrorIsFull) {
    EXPECT_EQ(run("exec \"$RECORD\" \"$SEND\" numbered 10 2>/dev/full").exitStatus, 1);
    EXPECT_EQ(run("exec \"$RECORD\" sh -c '\"$SEND\" text x; exit 7' 2>/dev/full").exitStatus, 7);
}

TEST(LauncherFailure, StandardErrorIsClosed) {
    EXPECT_EQ(run("exec \"$RECORD\" \"$SEND\" numbered 10 2>&-").exitStatus, 1);
    EXPECT_EQ(run("exec \"$RECORD\" sh -c '\"$SEND\" text x; exit 7' 2>&-").exitStatus, 7);
}

TEST(LauncherFailure, OtherStandardStreamsAreClosedToo) {
    // A message of 8 bytes: a descriptor of the launcher's own might take just that without error.
    EXPECT_EQ(run("exec \"$RECORD\" \"$SEND\" text 'letters\n' <&- 2>&-").exitStatus, 1);
}

TEST(LauncherFailure, NobodyReadsStandardError) {
    const std::string brokenPipe = "mkfifo pipe; exec 3<>pipe 2>pipe 3<&-;";
    EXPECT_EQ(run(brokenPipe + "exec \"$RECORD\" \"$SEND\" numbered 10").exitStatus, 1);
    EXPECT_EQ(run(brokenPipe + "exec \"$RECORD\" sh -c '\"$SEND\" text x; exit 7'").exitStatus, 7);
}

TEST(LauncherFailure, LibraryIsNotThere) {
    const TemporaryFolder folder;
    const fs::path launcher = folder.path() / "veltra-record";
    fs::copy_file(VELTRA_LAUNCHER, launcher);
    expectFailure("exec \"$SUBJECT\" echo run", 126,
                  "cannot find libveltra_socket_agent.so, which belongs to " + launcher.string(),
                  launcher);
}

TEST(LauncherFailure, LibraryCannotBePreloaded) {
    const TemporaryFolder folder;
    const fs::path library = folder.makeFile("two words/libveltra_socket_agent.so");
    const fs::path launcher = library.parent_path() / "veltra-record";
    fs::copy_file(VELTRA_LAUNCHER, launcher);
    expectFailure("exec \"$SUBJECT\" echo run", 126,
                  "cannot preload " + library.string() +
                      ": the path of a preloaded library must not contain a blank or a colon",
                  launcher);
}

}  // namespace

}  // namespace veltra::testing
