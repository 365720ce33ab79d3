#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>

#include "Shell.h"
#include "recorder/FileDescriptor.h"

namespace veltra::testing {

namespace {

class LauncherSignal : public ::testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Forwarded, LauncherSignal,
                         ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT),
                         [](const auto& test) { return sigabbrev_np(test.param); });

TEST_P(LauncherSignal, ReachesTheCommandWhichMayGoOn) {
    Shell shell(
        "exec \"$RECORD\" -o recording sh -c '"
        "trap \"\\\"\\$SEND\\\" text trapped; exit 3\" $SUBJECT;"
        "\"$SEND\" text before; echo ready; while :; do sleep 0.02; done'",
        sigabbrev_np(GetParam()));
    shell.waitForOutput("ready");
    ::kill(shell.process(), GetParam());
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(shell.file("recording"), "before\ntrapped\n");
}

TEST_P(LauncherSignal, EndsTheCommandAndKeepsTheRecording) {
    Shell shell(
        "ulimit -c 0; exec \"$RECORD\" -o recording sh -c '\"$SEND\" numbered 3; echo ready; exec "
        "sleep 1000'");
    shell.waitForOutput("ready");
    ::kill(shell.process(), GetParam());
    EXPECT_EQ(shell.wait().exitStatus, 128 + GetParam());
    EXPECT_EQ(shell.file("recording"), "1\n2\n3\n");
}

TEST_P(LauncherSignal, LeavesTheLauncherRunningWhenTheCommandIgnoresIt) {
    Shell shell(
        "exec \"$RECORD\" -o recording sh -c 'trap \"\" $SUBJECT; echo ready;"
        "until [ -e go ]; do sleep 0.02; done; \"$SEND\" text after; exit 5'",
        sigabbrev_np(GetParam()));
    shell.waitForOutput("ready");
    ::kill(shell.process(), GetParam());
    std::ofstream(shell.folder() / "go").close();
    EXPECT_EQ(shell.wait().exitStatus, 5);
    EXPECT_EQ(shell.file("recording"), "after\n");
}

TEST(LauncherSignals, LeaveTheCommandWithWhatTheLauncherHad) {
    // Without, and then with signals that are ignored and blocked from the beginning. Of the mask's
    // halves only the lower one matters: the C library itself uses signals of the upper one.
    for (const char* start :
         {"env", "env --ignore-signal=INT,CHLD,PIPE,TERM --block-signal=HUP,CHLD,USR1"}) {
        Shell shell(
            "show='grep ^Sig...: /proc/self/status'; $SUBJECT $show | cut -c 17- >direct;"
            "$SUBJECT \"$RECORD\" $show | cut -c 17- >recorded",
            start);
        EXPECT_EQ(shell.wait().errors, "");
        EXPECT_NE(shell.file("direct"), "");
        EXPECT_EQ(shell.file("recorded"), shell.file("direct")) << start;
    }
}

TEST(LauncherSignals, LearnTheExitStatusEvenWhenStartedWithChildrenIgnored) {
    EXPECT_EQ(run("exec env --ignore-signal=CHLD \"$RECORD\" sh -c 'exit 7'").exitStatus, 7);
}

// A terminal with a program in its foreground.
class Terminal {
public:
    Terminal(const std::string& script, const std::filesystem::path& workingDirectory) {
        int master = -1;
        process_ = ::forkpty(&master, nullptr, nullptr, nullptr);
        if (process_ == 0) {
            if (::chdir(workingDirectory.c_str()) != 0) ::_exit(99);
            ::execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
            ::_exit(99);
        }
        master_ = FileDescriptor(master);
    }

    void type(char key) const { EXPECT_EQ(::write(master_.number(), &key, 1), 1); }

    int wait() const {
        int status = 0;
        ::waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t process_ = -1;
    FileDescriptor master_;
};

TEST(LauncherSignals, OfTheTerminalReachTheCommandOnce) {
    const TemporaryFolder folder;
    const auto waitForFile = [&folder](const char* name) {
        while (contentOf(folder.path() / name).empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    };
    // The shell never sleeps, or it would take two signals for one.
    const Terminal terminal("exec " VELTRA_LAUNCHER
                            " -o recording sh -c '"
                            "trap \"echo interrupted >>interrupts\" INT; echo >ready;"
                            "until [ -e go ]; do :; done; " VELTRA_MESSAGE_SENDER
                            " text after; exit 5'",
                            folder.path());
    waitForFile("ready");
    terminal.type('\003');
    waitForFile("interrupts");
    folder.makeFile("go");
    EXPECT_EQ(terminal.wait(), 5);
    EXPECT_EQ(contentOf(folder.path() / "interrupts"), "interrupted\n");
    EXPECT_EQ(contentOf(folder.path() / "recording"), "after\n");
}

}  // namespace

}  // namespace veltra::testing
