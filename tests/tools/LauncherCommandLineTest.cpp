#include <gtest/gtest.h>

#include "Shell.h"

namespace veltra::testing {

namespace {

constexpr const char* usageHint =
    "Usage: veltra-record [-o FILE] [--] COMMAND [ARG]...\n"
    "Run with --help for more information.\n";

void expectRefusal(const std::string& arguments, const std::string& reason) {
    const Outcome outcome = run("exec \"$RECORD\" " + arguments);
    EXPECT_EQ(outcome.exitStatus, 1) << arguments;
    EXPECT_EQ(outcome.output, "") << arguments;
    EXPECT_EQ(outcome.errors, "veltra-record: " + reason + "\n" + usageHint) << arguments;
}

void expectWords(const std::string& script, const std::string& words) {
    const Outcome outcome = run(script);
    EXPECT_EQ(outcome.exitStatus, 0) << script;
    EXPECT_EQ(outcome.output, words) << script;
    EXPECT_EQ(outcome.errors, "") << script;
}

TEST(LauncherCommandLine, LeavesTheCommandsArgumentsAlone) {
    const std::string arguments =
        " printf '<%s>' -o --help -- --version -x a '' ' b ' '[c,d]' '{}'";
    const std::string words = "<-o><--help><--><--version><-x><a><>< b ><[c,d]><{}>";
    expectWords("exec \"$RECORD\"" + arguments, words);
    expectWords("exec \"$RECORD\" --" + arguments, words);
    expectWords("exec \"$RECORD\" -o recording" + arguments, words);
    expectWords("exec \"$RECORD\" -o recording --" + arguments, words);
}

TEST(LauncherCommandLine, TakesTheFileInEveryForm) {
    for (const char* option :
         {"-o recording", "-orecording", "--output recording", "--output=recording"}) {
        Shell shell(std::string("exec \"$RECORD\" ") + option + " -- \"$SEND\" text hello");
        EXPECT_EQ(shell.wait().errors, "") << option;
        EXPECT_EQ(shell.file("recording"), "hello\n") << option;
    }
}

TEST(LauncherCommandLine, PrintsHelp) {
    const Outcome outcome = run("exec \"$RECORD\" --help");
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_NE(outcome.output.find("Usage: veltra-record [-o FILE] [--] COMMAND [ARG]...\n"),
              std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("-o,--output FILE"), std::string::npos) << outcome.output;
}

TEST(LauncherCommandLine, PrintsItsVersion) {
    const Outcome outcome = run("exec \"$RECORD\" --version");
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, "veltra-record " VELTRA_VERSION "\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST(LauncherCommandLine, RefusesWhatItDoesNotUnderstand) {
    expectRefusal("", "COMMAND is required");
    expectRefusal("--", "COMMAND is required");
    expectRefusal("-o recording", "COMMAND is required");
    expectRefusal("-o", "--output: 1 required FILE missing");
    expectRefusal("--unknown true", "The following argument was not expected: --unknown");
    expectRefusal("-x -- true", "The following argument was not expected: -x");
}

}  // namespace

}  // namespace veltra::testing
