#include <gtest/gtest.h>

#include "ReportRun.h"

namespace veltra::testing {

namespace {

constexpr const char* conversationAsText =
    "           -     100    - -- -                               process in /tmp\n"
    "    0.000        100    3 => 127.0.0.1:80                    connected in 1 ms\n"
    "    0.002        100    3 -> 127.0.0.1:80                 4  ping\n"
    "    0.004        100    3 <- 127.0.0.1:80                 5  pong!\n"
    "    0.005        100    3 >< 127.0.0.1:80                    closed\n";

TEST(ReportInput, IsAFile) {
    const ReportRun run(shortConversation, "exec \"$SUBJECT\" text recording");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output, conversationAsText);
    EXPECT_EQ(run.outcome().errors, "");
}

TEST(ReportInput, IsStandardInput) {
    const ReportRun run(shortConversation, "cat recording | \"$SUBJECT\" text -");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output, conversationAsText);
    EXPECT_EQ(run.outcome().errors, "");
}

TEST(ReportInput, IsReadFileByFile) {
    const ReportRun run(shortConversation,
                        "head -n 3 recording >'[a,b]'; tail -n 2 recording >-c; "
                        "exec \"$SUBJECT\" text -- '[a,b]' -c");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output, conversationAsText);
}

TEST(ReportInput, MayLackTheLastNewline) {
    std::string recording = shortConversation;
    recording.pop_back();
    const ReportRun run(recording, "exec \"$SUBJECT\" text recording");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output, conversationAsText);
}

TEST(ReportInput, MayBeEmpty) {
    for (const char* kind : {"text", "json"}) {
        const ReportRun run("", std::string("exec \"$SUBJECT\" ") + kind + " recording");
        EXPECT_EQ(run.outcome().exitStatus, 0);
        EXPECT_EQ(run.outcome().output + run.outcome().errors, "");
    }
}

TEST(ReportInput, ThatIsMissingIsLeftOut) {
    const ReportRun run(shortConversation, "exec \"$SUBJECT\" text missing recording");
    EXPECT_EQ(run.outcome().exitStatus, 1);
    EXPECT_EQ(run.outcome().output, conversationAsText);
    EXPECT_EQ(run.outcome().errors,
              "veltra-report: cannot read missing: No such file or directory\n");
}

TEST(ReportInput, ThatIsAFolderIsLeftOut) {
    const ReportRun run(shortConversation, "exec \"$SUBJECT\" text . recording");
    EXPECT_EQ(run.outcome().exitStatus, 1);
    EXPECT_EQ(run.outcome().output, conversationAsText);
    EXPECT_EQ(run.outcome().errors, "veltra-report: cannot read .: Is a directory\n");
}

TEST(ReportInput, ThatIsAClosedStandardInputIsEmpty) {
    const ReportRun run("", "exec \"$SUBJECT\" json - <&-");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output + run.outcome().errors, "");
}

TEST(DamagedRecording, IsReadToItsEnd) {
    const ReportRun run("<send socket\n" + std::string(shortConversation) + "<sent/>\n\n",
                        "exec \"$SUBJECT\" summary recording -o table");
    EXPECT_EQ(run.outcome().exitStatus, 2);
    EXPECT_EQ(run.outcome().output, "");
    EXPECT_EQ(run.outcome().errors,
              "veltra-report: recording:1:13: the line is cut off\n"
              "veltra-report: recording:7:2: unknown kind of message \"sent\"\n"
              "veltra-report: recording:8:1: the line is empty\n");
    EXPECT_EQ(run.file("table"),
              "process  socket  peer          seconds  sends  bytes sent  receives  bytes received"
              "  errors\n"
              "100           3  127.0.0.1:80    0.005      1           4         1               5"
              "       0\n"
              "total            1 connection               1           4         1               5"
              "       0\n"
              "3 damaged lines\n");
}

// Whatever byte a recording is cut at, the sound lines before are there.
TEST(DamagedRecording, MayBeCutAnywhere) {
    const std::string recording = shortConversation;
    const ReportRun run(recording,
                        "size=$(wc -c <recording); at=1; while [ $at -lt $size ]; do "
                        "head -c $at recording >cut; lines=$(wc -l <cut); "
                        "\"$SUBJECT\" json cut >json 2>errors; status=$?; "
                        "sound=$(grep -vc '\"kind\":\"damaged\"' json); "
                        "[ $status = $(( sound == lines ? 2 : 0 )) ] || [ -z \"$(tail -c 1 cut)\" ]"
                        " || echo $at $status $sound $lines; at=$((at + 7)); done");
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().output + run.outcome().errors, "");
}

TEST(DamagedRecording, OfGarbageIsNamedInShort) {
    const ReportRun run("", "\"$SUBJECT\" summary \"$SUBJECT\" >table; echo $?");
    EXPECT_EQ(run.outcome().output, "2\n");
    const std::string& errors = run.outcome().errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 101);
    EXPECT_TRUE(errors.ends_with(" more damaged lines\n")) << errors;
    for (const char c : errors)
        ASSERT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << errors;
}

TEST(DamagedRecording, OfZeroBytesHasOneLine) {
    const ReportRun run("", "head -c 100000 /dev/zero | \"$SUBJECT\" text -");
    EXPECT_EQ(run.outcome().exitStatus, 2);
    EXPECT_EQ(run.outcome().errors,
              "veltra-report: standard input:1:1: the line does not begin with \"<\"\n");
}

// The memory for a long recording is that for a short one, whatever the report.
TEST(LongRecording, NeedsNoMoreMemory) {
    const ReportRun run("", R"sh(
export ASAN_OPTIONS="$ASAN_OPTIONS:quarantine_size_mb=1"
exec /usr/bin/python3 - "$SUBJECT" <<'END'
import os, subprocess, sys

def peak(report, count):
    reader = subprocess.Popen([sys.argv[1], report, "-o", "/dev/null", "-"], stdin=subprocess.PIPE)
    head = b'<connect pid_I4="64" timestamp_I8="1a1fbf6c000" socket_I8="3" ip_AS="10.0.0.1" port_I4="50"/>\n'
    line = b'<send timestamp_I8="1a1fbf6c002" socket_I8="3" pid_I4="64" data_AS="%s" length_U4="3e8"/>\n'
    tail = b'<close pid_I4="64" socket_I8="3"/>\n'
    reader.stdin.write(head)
    piece = line % (b"x" * 1000) * 1000
    for _ in range(count):
        reader.stdin.write(piece)
    reader.stdin.write(tail)
    reader.stdin.close()
    pid, status, usage = os.wait4(reader.pid, 0)
    assert status == 0, status
    return usage.ru_maxrss

for report in ("summary", "text", "json", "pcap", "html"):
    short, long = peak(report, 8), peak(report, 64)
    print(report, "bounded" if long < short + 4096 else (short, long))
END
)sh");
    EXPECT_EQ(run.outcome().output,
              "summary bounded\ntext bounded\njson bounded\npcap bounded\nhtml bounded\n")
        << run.outcome().errors;
}

}  // namespace

}  // namespace veltra::testing
