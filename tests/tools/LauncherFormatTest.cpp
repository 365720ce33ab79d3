#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "Shell.h"

namespace veltra::testing {

namespace {

// A small conversation of process 0x10, the last message without its newline, and one that no agent
// sends.
constexpr const char* messages =
    " '<process timestamp_I4=\"0\" ticket_I4=\"1\" workingdir_AS=\"/home\" pid_I4=\"10\""
    " archi_AS=\"LINUX\"/>\n'"
    " '<connect pid_I4=\"10\" timestamp_I8=\"3e8\" ticket_I4=\"2\" socket_I8=\"5\""
    " duration_I4=\"0\" family_AS=\"AF_INET\" ip_AS=\"192.0.2.1\" port_I4=\"50\"/>\n'"
    " '<send timestamp_I8=\"3e9\" ticket_I4=\"3\" socket_I8=\"5\" pid_I4=\"10\""
    " data_AS=\"a\\x80b\" length_U4=\"3\"/>\n'"
    " 'no message'"
    " '<close pid_I4=\"10\" timestamp_I8=\"7d0\" ticket_I4=\"4\" socket_I8=\"5\"/>'";

constexpr const char* asLines =
    "<process timestamp_I4=\"0\" ticket_I4=\"1\" workingdir_AS=\"/home\" pid_I4=\"10\""
    " archi_AS=\"LINUX\"/>\n"
    "<connect pid_I4=\"10\" timestamp_I8=\"3e8\" ticket_I4=\"2\" socket_I8=\"5\""
    " duration_I4=\"0\" family_AS=\"AF_INET\" ip_AS=\"192.0.2.1\" port_I4=\"50\"/>\n"
    "<send timestamp_I8=\"3e9\" ticket_I4=\"3\" socket_I8=\"5\" pid_I4=\"10\""
    " data_AS=\"a\\x80b\" length_U4=\"3\"/>\n"
    "no message\n"
    "<close pid_I4=\"10\" timestamp_I8=\"7d0\" ticket_I4=\"4\" socket_I8=\"5\"/>\n";

constexpr const char* asJson =
    R"({"kind":"process","timestamp":0,"ticket":1,"workingdir":"/home","pid":16,"archi":"LINUX"})"
    "\n"
    R"({"kind":"connect","pid":16,"timestamp":1000,"ticket":2,"socket":5,"duration":0,)"
    R"("family":"AF_INET","ip":"192.0.2.1","port":80})"
    "\n"
    R"({"kind":"send","timestamp":1001,"ticket":3,"socket":5,"pid":16,"data":"a)"
    "\xef\xbf\xbd"
    R"(b","data_base64":"YYBi","length":3})"
    "\n"
    R"({"kind":"damaged","line":4,"column":1,"reason":"the line does not begin with \"<\"",)"
    R"("text":"no message"})"
    "\n"
    R"({"kind":"close","pid":16,"timestamp":2000,"ticket":4,"socket":5})"
    "\n";

constexpr const char* table =
    "process  socket  peer          seconds  sends  bytes sent  receives  bytes received  errors\n"
    "16            5  192.0.2.1:80    1.000      1           3         0               0       0\n"
    "total            1 connection               1           3         0               0       0\n"
    "1 damaged line\n";

std::string sent(const std::string& launcher) {
    return "exec \"$RECORD\" " + launcher + " \"$SEND\" text" + messages;
}

TEST(LauncherFormat, LinesAreWhatWasReceived) {
    EXPECT_EQ(run(sent("")).errors, asLines);
    EXPECT_EQ(run(sent("--format lines")).errors, asLines);
}

TEST(LauncherFormat, JsonHasOneObjectALine) {
    Shell shell(sent("--format json -o recording"));
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(shell.file("recording"), asJson);
}

TEST(LauncherFormat, TextHasOneLineForPeople) {
    EXPECT_EQ(run(sent("--format text -o -")).output,
              "           -      16    - -- -                               process in /home\n"
              "    0.000         16    5 => 192.0.2.1:80                    connected in 0 ms\n"
              "    0.001         16    5 -> 192.0.2.1:80                 3  a\\x80b\n"
              "line 4 is damaged at column 1: the line does not begin with \"<\"\n"
              "    1.000         16    5 >< 192.0.2.1:80                    closed\n");
}

TEST(LauncherFormat, IsWrittenAsTheMessagesCome) {
    Shell shell(
        "exec \"$RECORD\" --format json -o recording sh -c '\"$SEND\" text x; echo sent;"
        " until [ -e go ]; do sleep 0.02; done'");
    shell.waitForOutput("sent");
    while (shell.file("recording").find('\n') == std::string::npos) {
    }
    EXPECT_TRUE(shell.file("recording").starts_with(R"({"kind":"damaged","line":1,)"));
    std::ofstream(shell.folder() / "go").close();
    EXPECT_EQ(shell.wait().exitStatus, 0);
}

TEST(LauncherFormat, SummaryComesBehindTheRecording) {
    EXPECT_EQ(run(sent("--summary")).errors, asLines + std::string(table));
    EXPECT_EQ(run(sent("--summary --format json")).errors, asJson + std::string(table));
}

TEST(LauncherFormat, SummaryGoesToStandardErrorWhereverTheRecordingGoes) {
    Shell shell(sent("-q --summary -o recording"));
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, table);
    EXPECT_EQ(shell.file("recording"), asLines);
}

TEST(LauncherFormat, SummaryIsThereAlsoIfTheRecordingCannotBeWritten) {
    const Outcome outcome = run(sent("--summary -o /dev/full"));
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(
        outcome.errors,
        table + std::string("veltra-record: cannot write the whole recording to /dev/full: No "
                            "space left on device\n"));
}

}  // namespace

}  // namespace veltra::testing
