#include <gtest/gtest.h>

#include "RecordingText.h"
#include "recording/Formatter.h"

namespace veltra::testing {

namespace {

std::string text(std::string_view recording) {
    return written(recording, *makeFormatter(RecordingFormat::text));
}

TEST(LinesFormatter, WritesLinesAsReceived) {
    const std::string recording = "<exit/>\ngarbage \xff\n\n";
    EXPECT_EQ(written(recording, *makeFormatter(RecordingFormat::lines)), recording);
    EXPECT_EQ(written("no newline", *makeFormatter(RecordingFormat::lines)), "no newline\n");
}

TEST(TextFormatter, TellsAConversation) {
    EXPECT_EQ(
        text(
            R"(<process timestamp_I4="0" ticket_I4="1" workingdir_AS="/home/me" pid_I4="11bc" archi_AS="LINUX"/>
<addrinfo timestamp_I8="1a1fbf6cef9" ticket_I4="2" family_AS="AF_INET" name_AS="web.example" ip_AS="127.0.0.1"/>
<addrinfo timestamp_I8="1a1fbf6cef9" ticket_I4="2" family_AS="AF_CCITT" name_AS="web.example"/>
<notrecorded timestamp_I8="1a1fbf6cef9" ticket_I4="3" name_AS="select"/>
<connect localport_I4="e2f4" pid_I4="11bc" timestamp_I8="1a1fbf6cefa" ticket_I4="6" socket_I8="6" duration_I4="3" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="46a0"/>
<send timestamp_I8="1a1fbf6cf63" ticket_I4="7" socket_I8="6" pid_I4="11bc" data_AS="GET / HTTP/1.1\x0d&#x0a;\x0d&#x0a;" length_U4="12"/>
<receive pid_I4="11bc" timestamp_I8="1a1fbf6cf64" ticket_I4="9" socket_I8="6" data_AS="0123456789012345678901234567890123456789012345678901234567890\x1b" length_I4="3e"/>
<receive pid_I4="11bc" timestamp_I8="1a1fbf6cf64" ticket_I4="9" socket_I8="6" data_AS="old" length_I4="0"/>
<send timestamp_I8="1a1fbf6cf65" ticket_I4="7" socket_I8="6" pid_I4="11bc" data_AS="more" length_U4="4" error_I4="20"/>
<close pid_I4="11bc" timestamp_I8="1a1fbf6cf65" ticket_I4="a" socket_I8="6"/>
<exit/>
)"),
        "           -    4540    - -- -                               process in /home/me\n"
        "    0.000          -    - -- -                               web.example is 127.0.0.1\n"
        "    0.000          -    - -- -                               web.example is AF_CCITT\n"
        "    0.000          -    - -- -                               select called\n"
        "    0.001       4540    6 => 127.0.0.1:18080                 connected in 3 ms\n"
        "    0.106       4540    6 -> 127.0.0.1:18080             18  GET / HTTP/1.1\\r\\n\\r\\n\n"
        "    0.107       4540    6 <- 127.0.0.1:18080             62  "
        "012345678901234567890123456789012345678901234567890123456...\n"
        "    0.107       4540    6 <- 127.0.0.1:18080              0  end of stream\n"
        "    0.108       4540    6 -> 127.0.0.1:18080                 failed: EPIPE (Broken pipe)\n"
        "    0.108       4540    6 >< 127.0.0.1:18080                 closed\n"
        "           -       -    - -- -                               exit\n");
}

TEST(TextFormatter, TellsHowConnectingWent) {
    EXPECT_EQ(
        text(
            R"(<connect timestamp_ns_I8="5" pid_I4="1" timestamp_I8="7d0" socket_I8="3" duration_I4="0" duration_ns_I8="1e240" family_AS="AF_CCITT" ip_AS="0:0:0:0:0:0:0:1" port_I4="50"/>
<connect timestamp_ns_I8="1e5" pid_I4="1" timestamp_I8="7d0" socket_I8="4" duration_I4="0" family_AS="AF_INET" ip_AS="10.0.0.1" port_I4="50" error_I4="73"/>
<connect timestamp_ns_I8="186a5" pid_I4="1" timestamp_I8="7d0" socket_I8="5" duration_I4="0" family_AS="AF_INET" ip_AS="10.0.0.1" port_I4="50" error_I4="6f"/>
<connect timestamp_ns_I8="1e848a" pid_I4="1" timestamp_I8="7d2" socket_I8="6" duration_I4="0" family_AS="AF_INET" ip_AS="10.0.0.1" port_I4="50" error_I4="270f"/>
<accept pid_I4="2" timestamp_I8="7d4" socket_I8="8" from_I8="7" family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="51"/>
)"),
        "    0.000000       1    3 => [::1]:80                        connected in 0.123 ms\n"
        "    0.000000       1    4 => 10.0.0.1:80                     connecting\n"
        "    0.000100       1    5 => 10.0.0.1:80                     failed: ECONNREFUSED "
        "(Connection refused)\n"
        "    0.002000       1    6 => 10.0.0.1:80                     failed: error 9999\n"
        "    0.004          2    8 <= 10.0.0.2:81                     accepted on 7\n");
}

TEST(TextFormatter, SaysWhereItDoesNotKnowThePeer) {
    EXPECT_EQ(
        text(R"(<send timestamp_I8="1" socket_I8="6" pid_I4="1" data_AS="hi" length_U4="2"/>)"),
        "    0.000          1    6 -> -                            2  hi\n");
}

TEST(TextFormatter, TellsDamageAndNeverCommandsATerminal) {
    EXPECT_EQ(text("<\x1b[2J/>\n"),
              "line 1 is damaged at column 2: unknown kind of message \"\\x1b[2J\"\n");
    EXPECT_EQ(text(R"(<process workingdir_AS="/\x1b[2J&#x0a;" pid_I4="1"/>)"),
              "           -       1    - -- -                               "
              "process in /\\x1b[2J\\n\n");
    EXPECT_EQ(text(R"(<connect socket_I8="3" ip_AS="\x1b[2J" port_I4="1"/>)"),
              "           -       -    3 => \\x1b[2J:1                       connected\n");
}

}  // namespace

}  // namespace veltra::testing
