#include <gtest/gtest.h>

#include "ReportRun.h"

namespace veltra::testing {

namespace {

constexpr const char* usage =
    "Usage: veltra-report summary|text|json|pcap|html [-o FILE] RECORDING...\n";

Outcome report(const std::string& arguments) {
    return ReportRun(shortConversation, "exec \"$SUBJECT\" " + arguments).outcome();
}

TEST(ReportCommandLine, HelpSaysEverything) {
    for (const char* option : {"-h", "--help"}) {
        const Outcome outcome = report(option);
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(
            outcome.output,
            "Shows what veltra-record recorded.\n" + std::string(usage) +
                "\n"
                "Options:\n"
                "  -h,--help                   Print this help message and exit\n"
                "  --version                   Print the version and exit\n"
                "  -o,--output FILE            Write the report to FILE instead of standard "
                "output\n"
                "\n"
                "Reports:\n"
                "  summary  a table: a row for each connection, and totals\n"
                "  text     a line for people for each message\n"
                "  json     a JSON object for each message, one a line\n"
                "  pcap     a capture file that packet analysers open, with made-up packets\n"
                "  html     one page with a time line, to be opened in a browser\n"
                "\n"
                "RECORDING is a file that veltra-record wrote, or - for standard input. Damaged "
                "lines are named\n"
                "on standard error, and reading goes on.\n"
                "\n"
                "The exit status is 0 if all is well, 2 if lines were damaged, and 1 if something "
                "could not be\n"
                "read or written.\n");
    }
}

TEST(ReportCommandLine, TellsTheVersion) {
    const Outcome outcome = report("--version");
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.output, "veltra-report " VELTRA_VERSION "\n");
}

struct WrongArguments {
    const char* arguments;
    const char* complaint;
};

TEST(ReportCommandLine, ThatIsWrongIsRefused) {
    const WrongArguments wrong[] = {
        {"", "a report is required"},
        {"text", "RECORDING is required"},
        {"text -o file", "RECORDING is required"},
        {"pictures recording", "there is no report \"pictures\""},
        {"recording", "there is no report \"recording\""},
        {"text recording --colour", "The following argument was not expected: --colour"},
        {"-x text recording", "The following argument was not expected: -x"},
        {"text recording -o", "--output: 1 required FILE missing"},
    };
    for (const WrongArguments& each : wrong) {
        const Outcome outcome = report(each.arguments);
        EXPECT_EQ(outcome.exitStatus, 1) << each.arguments;
        EXPECT_EQ(outcome.output, "") << each.arguments;
        EXPECT_EQ(outcome.errors, "veltra-report: " + std::string(each.complaint) + "\n" + usage +
                                      "Run with --help for more information.\n");
    }
}

}  // namespace

}  // namespace veltra::testing
