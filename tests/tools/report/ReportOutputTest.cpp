#include <gtest/gtest.h>

#include "ReportRun.h"

namespace veltra::testing {

namespace {

constexpr const char* kinds[] = {"summary", "text", "json", "pcap", "html"};

std::string reportOf(const std::string& kind) {
    return "\"$SUBJECT\" " + kind + " recording";
}

// More than any report or pipe keeps in memory.
std::string longRecording() {
    std::string recording;
    for (int i = 0; i < 4000; ++i)
        recording += shortConversation;
    return recording;
}

TEST(ReportOutput, GoesToAFileOrToStandardOutput) {
    for (const char* kind : kinds) {
        const ReportRun run(shortConversation,
                            reportOf(kind) + " >one; \"$SUBJECT\" -o two " + kind +
                                " recording; \"$SUBJECT\" " + kind +
                                " --output three recording; cmp one two && exec cmp one three");
        EXPECT_EQ(run.outcome().exitStatus, 0) << run.outcome().output;
        EXPECT_NE(run.file("one"), "");
        EXPECT_EQ(run.outcome().output + run.outcome().errors, "");
    }
}

TEST(ReportOutput, OnAFullDiskIsAFailure) {
    for (const char* kind : kinds) {
        const ReportRun run(shortConversation, reportOf(kind) + " -o /dev/full");
        EXPECT_EQ(run.outcome().exitStatus, 1) << kind;
        EXPECT_EQ(run.outcome().errors,
                  "veltra-report: cannot write to /dev/full: No space left on device\n");
    }
}

// The failure comes in the middle of a long report, not only at its end. Root may mount a disk as
// it is, also where it has no namespaces; others need one of their own.
TEST(ReportOutput, OnADiskThatFillsUpIsAFailure) {
    for (const char* kind : {"text", "json", "pcap", "html"}) {
        const ReportRun run(longRecording(),
                            "mkdir disk && $([ \"$(id -u)\" = 0 ] || echo unshare -rm) sh -c '"
                            "mount -t tmpfs -o size=64k none disk && { \"$@\"; status=$?; umount "
                            "disk; exit $status; }' "
                            "sh \"$SUBJECT\" -o disk/report " +
                                std::string(kind) + " recording");
        EXPECT_EQ(run.outcome().exitStatus, 1) << kind;
        EXPECT_EQ(run.outcome().errors,
                  "veltra-report: cannot write to disk/report: No space left on device\n");
    }
}

TEST(ReportOutput, ThatIsClosedIsAFailure) {
    for (const char* kind : kinds) {
        const ReportRun run(shortConversation, reportOf(kind) + " >&-");
        EXPECT_EQ(run.outcome().exitStatus, 1) << kind;
        EXPECT_EQ(run.outcome().errors,
                  "veltra-report: cannot write to standard output: Bad file descriptor\n");
    }
}

TEST(ReportOutput, ThatNobodyReadsEndsTheProgramQuietly) {
    const ReportRun run(longRecording(), reportOf("json") + " | head -c 8");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output, "{\"kind\":");
    EXPECT_EQ(run.outcome().errors, "");
}

TEST(ReportOutput, ThatCannotBeOpenedIsAFailure) {
    const ReportRun run(shortConversation, reportOf("text") + " -o missing/report");
    EXPECT_EQ(run.outcome().exitStatus, 1);
    EXPECT_EQ(run.outcome().errors,
              "veltra-report: cannot write to missing/report: No such file or directory\n");
}

TEST(ReportOutput, NeverReplacesARecording) {
    const ReportRun run(shortConversation, "chmod +w recording; ln recording link; " +
                                               reportOf("text") + " -o link; " + reportOf("text") +
                                               " >>link");
    EXPECT_EQ(run.outcome().exitStatus, 1);
    EXPECT_EQ(run.outcome().errors,
              "veltra-report: link is a recording to be read; write to another file\n"
              "veltra-report: standard output is a recording to be read; write to another file\n");
    EXPECT_EQ(run.file("recording"), shortConversation);
}

TEST(ReportOutput, IsLeftAloneWhenTheCommandLineIsWrong) {
    const ReportRun run(shortConversation,
                        "echo kept >report; \"$SUBJECT\" -o report pictures recording");
    EXPECT_EQ(run.outcome().exitStatus, 1);
    EXPECT_EQ(run.file("report"), "kept\n");
}

TEST(CaptureOutput, IsNotForATerminal) {
    const ReportRun run(shortConversation,
                        "script -qec \"$SUBJECT pcap recording\" /dev/null </dev/null");
    EXPECT_EQ(run.outcome().exitStatus, 1);
    EXPECT_EQ(run.outcome().output,
              "veltra-report: a capture file is nothing for a terminal; name a file with -o\r\n");
}

// Standard error is a terminal here, and the input takes its time.
constexpr const char* slowReport =
    "cat >slow <<'END'\ncat recording; sleep 0.6; cat recording\nEND\n"
    "script -qec \"sh slow | $SUBJECT text - ";

TEST(Progress, IsShownOnATerminalAndTakenAway) {
    const ReportRun run(shortConversation,
                        slowReport + std::string("-o report\" /dev/null </dev/null"));
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output, "\rveltra-report: 0 MB read\x1b[K\r\x1b[K");
}

TEST(Progress, TellsHowMuchIsLeftOfAFile) {
    const ReportRun run(longRecording(),
                        "mkfifo pipe;"
                        "(exec 3<pipe; sleep 0.6; cat <&3 >/dev/null) & "
                        "script -qec \"$SUBJECT text recording -o pipe\" /dev/null </dev/null");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_NE(run.outcome().output.find("% of 2 MB read\x1b[K"), std::string::npos)
        << run.outcome().output;
    EXPECT_TRUE(run.outcome().output.ends_with("\r\x1b[K"));
}

TEST(Progress, DoesNotComeBetweenTheReport) {
    const ReportRun run(shortConversation,
                        slowReport + std::string("\" /dev/null </dev/null | grep -c veltra"));
    EXPECT_EQ(run.outcome().output, "0\n");
}

TEST(Progress, IsNotShownElsewhere) {
    const ReportRun run(
        shortConversation,
        "(cat recording; sleep 0.6; cat recording) | \"$SUBJECT\" text - -o report");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output + run.outcome().errors, "");
}

}  // namespace

}  // namespace veltra::testing
