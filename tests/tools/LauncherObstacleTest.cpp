#include <gtest/gtest.h>

#include "Shell.h"

namespace veltra::testing {

namespace {

constexpr const char* advice = ", so nothing would be recorded (--force runs it all the same)\n";

TEST(LauncherObstacle, KeepsTheCommandFromRunning) {
    Shell shell("echo earlier >recording; exec \"$RECORD\" -o recording \"$SUBJECT\" run",
                VELTRA_STATIC_PROGRAM);
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 126);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "veltra-record: " VELTRA_STATIC_PROGRAM " is statically linked" +
                                  std::string(advice));
    EXPECT_EQ(shell.file("recording"), "earlier\n");
}

TEST(LauncherObstacle, IsLookedForInTheProgramOfThePath) {
    const Outcome outcome =
        run("ln -s \"$SUBJECT\" prog; PATH=\"$PWD:$PATH\"; echo \"$PWD\"; exec \"$RECORD\" prog",
            VELTRA_STATIC_PROGRAM);
    EXPECT_EQ(outcome.exitStatus, 126);
    const std::string folder = outcome.output.substr(0, outcome.output.find('\n'));
    EXPECT_EQ(outcome.errors, "veltra-record: " + folder + "/prog is statically linked" + advice);
}

TEST(LauncherObstacle, IsThatTheAgentIsUnplugged) {
    const Outcome outcome =
        run("export VELTRA_SOCKET_AGENT_UNPLUG_AGENT=; exec \"$RECORD\" echo run");
    EXPECT_EQ(outcome.exitStatus, 126);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors,
              "veltra-record: VELTRA_SOCKET_AGENT_UNPLUG_AGENT is set" + std::string(advice));
}

TEST(LauncherObstacle, IsOvercomeByForce) {
    const Outcome outcome = run("exec \"$RECORD\" --force \"$SUBJECT\" a b", VELTRA_STATIC_PROGRAM);
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.output, "run with 2 arguments\n");
    EXPECT_EQ(outcome.errors, "veltra-record: " VELTRA_STATIC_PROGRAM
                              " is statically linked, so nothing is recorded\n");
}

TEST(LauncherObstacle, IsNotMentionedToThoseWhoWantQuiet) {
    const Outcome outcome = run("exec \"$RECORD\" -q --force \"$SUBJECT\"", VELTRA_STATIC_PROGRAM);
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.output, "run with 0 arguments\n");
    EXPECT_EQ(outcome.errors, "");
}

}  // namespace

}  // namespace veltra::testing
