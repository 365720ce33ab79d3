#include <gtest/gtest.h>

#include <sstream>

#include "Shell.h"

namespace veltra::testing {

namespace {

constexpr const char* usageHint =
    "Usage: veltra-record [OPTION]... [--] COMMAND [ARG]...\n"
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
    EXPECT_NE(outcome.output.find("Usage: veltra-record [OPTION]... [--] COMMAND [ARG]...\n"),
              std::string::npos)
        << outcome.output;
    for (const char* option :
         {"-o,--output FILE  ", "--format FORMAT  ", "--summary  ", "--recorder HOST:PORT  ",
          "--socks HOST:PORT  ", "--socks6 HOST:PORT  ", "--socks-timeout SECONDS  ",
          "--double-log  ", "--trace MASK  ", "--trace-dir DIR  ", "--traceback  ", "--force  ",
          "-q,--quiet  ", "-v,--verbose  ", "--version  ", "-h,--help  "}) {
        EXPECT_NE(outcome.output.find(std::string("  ") + option), std::string::npos)
            << option << "\n"
            << outcome.output;
    }
    for (std::size_t start = 0; start < outcome.output.size();) {
        const std::size_t end = outcome.output.find('\n', start);
        EXPECT_LE(end - start, 80U) << outcome.output.substr(start, end - start);
        start = end + 1;
    }
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
    expectRefusal("--format xml true", "--format: xml not in {lines,json,text}");
    expectRefusal("--trace 1 true", "--trace requires --trace-dir");
    expectRefusal("--trace-dir x --trace 1024 true", "--trace: Value 1024 not in range 1 to 1023");
    expectRefusal("--trace-dir x --trace all true", "--trace: Value all not in range 1 to 1023");
    expectRefusal("--socks-timeout 0 true", "--socks-timeout: Value 0 not in range 1 to 86400");
    expectRefusal("-q -v true", "--quiet excludes --verbose");
    for (const char* option : {"--output x", "--format json", "--summary"}) {
        const std::string name = std::string(option).substr(0, std::string(option).find(' '));
        expectRefusal("--recorder 127.0.0.1:1 " + std::string(option) + " true",
                      name + " excludes --recorder");
    }
}

TEST(LauncherCommandLine, RefusesServersThatMakeNoSense) {
    for (const std::string option : {"--recorder", "--socks", "--socks6"}) {
        const Outcome outcome = run("exec \"$RECORD\" " + option + " host true");
        EXPECT_EQ(outcome.exitStatus, 1);
        EXPECT_EQ(outcome.errors,
                  "veltra-record: 'host' is not of the form HOST:PORT (or [IPV6-ADDRESS]:PORT)\n");
    }
}

TEST(LauncherCommandLine, BecomesTheAgentsVariables) {
    const Outcome outcome =
        run("export VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH=/core VELTRA_SOCKET_AGENT_DEBUG_LVL=3;"
            "\"$RECORD\" --recorder 127.0.0.1:9 --socks 192.0.2.1:1 --socks6 '[2001:db8::1]:2'"
            " --socks-timeout 3 --double-log --trace 0x41 --trace-dir traces --traceback"
            " sh -c 'env | grep ^VELTRA_ | LC_ALL=C sort; pwd'");
    const std::string folder =
        outcome.output.substr(outcome.output.rfind('\n', outcome.output.size() - 2) + 1);
    EXPECT_EQ(outcome.output,
              "VELTRA_SOCKET_AGENT_DEBUG_DIR=" + folder.substr(0, folder.size() - 1) +
                  "/traces\n"
                  "VELTRA_SOCKET_AGENT_DEBUG_LVL=65\n"
                  "VELTRA_SOCKET_AGENT_DEBUG_TRACEBACK=1\n"
                  "VELTRA_SOCKET_AGENT_DOUBLE_LOG_SOCKS=1\n"
                  "VELTRA_SOCKET_AGENT_IP_ADDRESS=127.0.0.1\n"
                  "VELTRA_SOCKET_AGENT_PORT_NUMBER=9\n"
                  "VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH=/core\n"
                  "VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS=192.0.2.1\n"
                  "VELTRA_SOCKET_AGENT_SOCKS_IPV6_ADDRESS=2001:db8::1\n"
                  "VELTRA_SOCKET_AGENT_SOCKS_MAX_TIMEOUT=3\n"
                  "VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4=1\n"
                  "VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV6=2\n" +
                  folder);
    EXPECT_EQ(outcome.errors, "");
}

TEST(LauncherCommandLine, TracesAllKindsUnlessToldWhich) {
    EXPECT_EQ(run("\"$RECORD\" --trace-dir x printenv VELTRA_SOCKET_AGENT_DEBUG_LVL").output,
              "1023\n");
}

TEST(LauncherCommandLine, LeavesTheRecordingToAnotherRecorder) {
    // A sanitized launcher would refuse to run with another library before it.
    Shell shell(
        "export ASAN_OPTIONS=\"$ASAN_OPTIONS:verify_asan_link_order=0\";"
        "exec \"$RECORD\" -o outer sh -c 'exec \"$RECORD\""
        " --recorder 127.0.0.1:$VELTRA_SOCKET_AGENT_PORT_NUMBER"
        " sh -c \"$SEND text hello; exit 7\"'");
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 7);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(shell.file("outer"), "hello\n");
}

TEST(LauncherCommandLine, AsksForTheWholeStory) {
    Shell shell(
        "PATH=/usr/bin:/bin; exec \"$RECORD\" -v -o recording sh -c 'echo $$ $PPID"
        " $VELTRA_SOCKET_AGENT_PORT_NUMBER; \"$SEND\" text hello; exit 7'");
    const Outcome outcome = shell.wait();
    std::istringstream told(outcome.output);
    std::string process, parent, port;
    told >> process >> parent >> port;
    EXPECT_EQ(outcome.exitStatus, 7);
    EXPECT_EQ(outcome.errors, "veltra-record: program /usr/bin/sh, process " + process +
                                  "\nveltra-record: agent " VELTRA_STAND_IN
                                  "\nveltra-record: recorder core not found"
                                  "\nveltra-record: recorder 127.0.0.1:" +
                                  port +
                                  "\nveltra-record: recording to recording"
                                  "\nveltra-record: LD_PRELOAD=" VELTRA_STAND_IN
                                  "\nveltra-record: VELTRA_SOCKET_AGENT_IP_ADDRESS=127.0.0.1"
                                  "\nveltra-record: VELTRA_SOCKET_AGENT_PORT_NUMBER=" +
                                  port +
                                  "\nveltra-record: 1 message, 5 bytes, 0 connections in recording"
                                  "\nveltra-record: exit status 7\n");
}

}  // namespace

}  // namespace veltra::testing
