#include <gtest/gtest.h>

#include "RecordingText.h"
#include "recording/Summary.h"

namespace veltra::testing {

namespace {

std::string table(std::string_view recording) {
    Summary summary;
    RecordingReader reader([&](const RecordedLine& line) { summary.add(line); });
    reader.feed(recording);
    reader.endLine();
    std::string output;
    summary.appendTable(output);
    return output;
}

TEST(Summary, HasARowForEachConnection) {
    EXPECT_EQ(
        table(
            R"(<process timestamp_I4="0" ticket_I4="1" workingdir_AS="/" pid_I4="11bc" archi_AS="LINUX"/>
<connect pid_I4="11bc" timestamp_I8="3e8" socket_I8="6" duration_I4="0" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="46a0" error_I4="73"/>
<connect pid_I4="11bc" timestamp_I8="3e8" socket_I8="6" duration_I4="0" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="46a0"/>
<connect pid_I4="11bd" timestamp_I8="3e8" socket_I8="6" duration_I4="0" family_AS="AF_CCITT" ip_AS="0:0:0:0:0:0:0:1" port_I4="50" error_I4="6f"/>
<accept pid_I4="7" timestamp_I8="3e8" socket_I8="8" from_I8="7" family_AS="AF_INET" ip_AS="10.0.0.2" port_I4="51"/>
<send timestamp_I8="44c" socket_I8="6" pid_I4="11bc" data_AS="hello" length_U4="5"/>
<send timestamp_I8="44c" socket_I8="6" pid_I4="11bc" data_AS="again" length_U4="5" error_I4="b"/>
<send timestamp_I8="44c" socket_I8="6" pid_I4="11bc" data_AS="again" length_U4="5"/>
<receive timestamp_I8="7d0" socket_I8="6" pid_I4="11bc" data_AS="hi" length_I4="2"/>
<receive timestamp_I8="7d0" socket_I8="6" pid_I4="11bc" data_AS="hi" length_I4="0"/>
<close pid_I4="11bc" timestamp_I8="8ae" socket_I8="6"/>
<connect pid_I4="11bc" timestamp_I8="8ae" socket_I8="6" duration_I4="0" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="46a0"/>
<send socket_I8="9" data_AS="lost" length_U4="4"/>
)"),
        "process  socket  peer              seconds  sends  bytes sent  receives  bytes received"
        "  errors\n"
        "4540          6  127.0.0.1:18080     1.222      2          10         1               2"
        "       1\n"
        "4541          6  [::1]:80            0.000      0           0         0               0"
        "       1\n"
        "7             8  from 10.0.0.2:81   0.000+      0           0         0               0"
        "       0\n"
        "4540          6  127.0.0.1:18080    0.000+      0           0         0               0"
        "       0\n"
        "-             9  unknown                 -      1           4         0               0"
        "       0\n"
        "total            5 connections                  3          14         1               2"
        "       2\n");
}

TEST(Summary, OfNothingHasTotalsOnly) {
    EXPECT_EQ(table(""),
              "process  socket  peer           seconds  sends  bytes sent  receives  bytes received"
              "  errors\n"
              "total            0 connections               0           0         0               0"
              "       0\n");
}

TEST(Summary, CountsDamagedLines) {
    const std::string one = table("<exit/>\n<close socket_I8=\"1\"/>\n<shut/>\n");
    EXPECT_EQ(one.substr(one.find("errors\n") + 7),
              "total            0 connections               0           0         0               0"
              "       0\n1 damaged line\n");
    const std::string two = table("\n\n");
    EXPECT_EQ(two.substr(two.rfind("0\n") + 2), "2 damaged lines\n");
}

}  // namespace

}  // namespace veltra::testing
