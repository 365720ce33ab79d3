#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <string>
#include <thread>

#include "Shell.h"
#include "Terminal.h"

namespace veltra::testing {

namespace {

class LauncherSignal : public ::testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Forwarded, LauncherSignal,
                         ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2),
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

// The command counts what reaches it. It never sleeps, or it would take two signals for one.
class GroupSignals : public ::testing::Test {
protected:
    static std::string counting(const std::string& signal) {
        return "exec " VELTRA_LAUNCHER " -o recording sh -c 'trap \"echo " + signal +
               " >>signals\" " + signal + "; echo >ready; until [ -e go ]; do :; done; " +
               VELTRA_MESSAGE_SENDER " text after; exit 5'";
    }

    void waitForFile(const char* name) const {
        while (contentOf(folder_.path() / name).empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    static pid_t witnessOf(pid_t launcher) {
        return std::stoi(run("ps -o pid=,comm= --ppid " + std::to_string(launcher) +
                             " | sed -n 's/ signal-witness$//p'")
                             .output);
    }

    void expectOnce(const std::string& signal, Terminal& terminal) const {
        waitForFile("signals");
        folder_.makeFile("go");
        EXPECT_EQ(terminal.wait(), 5);
        EXPECT_EQ(contentOf(folder_.path() / "signals"), signal + "\n");
        EXPECT_EQ(contentOf(folder_.path() / "recording"), "after\n");
    }

    const TemporaryFolder folder_;
};

TEST_F(GroupSignals, OfTheTerminalReachTheCommandOnce) {
    Terminal terminal(counting("INT"), folder_.path());
    waitForFile("ready");
    terminal.type('\003');
    expectOnce("INT", terminal);
}

TEST_F(GroupSignals, OfAProgramReachTheCommandOnce) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}) {
        const std::string signal = sigabbrev_np(number);
        for (const char* name : {"ready", "go", "signals"}) {
            std::filesystem::remove(folder_.path() / name);
        }
        Terminal terminal(counting(signal), folder_.path());
        waitForFile("ready");
        ::kill(-terminal.process(), number);
        expectOnce(signal, terminal);
    }
}

TEST_F(GroupSignals, AreToldFromThoseForTheLauncherAlone) {
    Terminal terminal("exec " VELTRA_LAUNCHER
                      " -o recording sh -c 'for name in INT TERM; do"
                      " trap \"echo $name >>signals\" $name; done;"
                      " echo >ready; until [ -e go ]; do :; done; exit 5'",
                      folder_.path());
    waitForFile("ready");
    const auto waitForSignals = [this](const std::string& signals) {
        while (contentOf(folder_.path() / "signals") != signals) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    };
    ::kill(-terminal.process(), SIGTERM);
    waitForSignals("TERM\n");
    ::kill(terminal.process(), SIGINT);
    waitForSignals("TERM\nINT\n");
    ::kill(-terminal.process(), SIGINT);
    waitForSignals("TERM\nINT\nINT\n");
    ::kill(terminal.process(), SIGTERM);
    waitForSignals("TERM\nINT\nINT\nTERM\n");
    folder_.makeFile("go");
    EXPECT_EQ(terminal.wait(), 5);
    EXPECT_EQ(contentOf(folder_.path() / "signals"), "TERM\nINT\nINT\nTERM\n");
}

// When the connection to a terminal breaks, the kernel tells the leader of the session alone.
TEST_F(GroupSignals, OfAHangUpReachTheCommandOnce) {
    Terminal terminal(counting("HUP"), folder_.path());
    waitForFile("ready");
    terminal.hangUp();
    expectOnce("HUP", terminal);
}

TEST_F(GroupSignals, AreHandedOnToACommandOfAnotherGroup) {
    Terminal terminal("exec " VELTRA_LAUNCHER
                      " -o recording setsid sh -c 'trap \"echo TERM >>signals\" TERM;"
                      " echo >ready; until [ -e go ]; do :; done; exit 5'",
                      folder_.path());
    waitForFile("ready");
    ::kill(-terminal.process(), SIGTERM);
    waitForFile("signals");
    folder_.makeFile("go");
    EXPECT_EQ(terminal.wait(), 5);
    EXPECT_EQ(contentOf(folder_.path() / "signals"), "TERM\n");
}

// The process that tells the two apart may be stopped with the rest of its group, or be gone.
TEST_F(GroupSignals, AreToldFromOthersByAStoppedWitness) {
    Terminal terminal(counting("TERM"), folder_.path());
    waitForFile("ready");
    ::kill(witnessOf(terminal.process()), SIGSTOP);
    ::kill(-terminal.process(), SIGTERM);
    expectOnce("TERM", terminal);
}

TEST_F(GroupSignals, ForTheLauncherAloneAreHandedOnWithoutAWitness) {
    Terminal terminal(counting("TERM"), folder_.path());
    waitForFile("ready");
    ::kill(witnessOf(terminal.process()), SIGKILL);
    ::kill(terminal.process(), SIGTERM);
    expectOnce("TERM", terminal);
}

TEST_F(GroupSignals, AreNotThoseForAllProgramsOfTheLaunchersName) {
    // Whoever goes by name or by command line finds the launcher and the command, nothing else.
    const Outcome outcome =
        run("exec \"$RECORD\" -o recording sh -c 'for process in $(ps -o pid= --ppid $PPID); do"
            " cat /proc/$process/comm; tr -d \"\\\\0\" </proc/$process/cmdline | wc -c; done'");
    const std::size_t witness = outcome.output.find("signal-witness");
    ASSERT_NE(witness, std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.output.substr(witness), "signal-witness\n0\n");
}

}  // namespace

}  // namespace veltra::testing
