#include <gtest/gtest.h>

#include "RecordingText.h"
#include "ReportRun.h"

namespace veltra::testing {

namespace {

// tshark says on standard error that it runs as root.
constexpr const char* functions = R"sh(
set -e
export HOME="$PWD"
strict="-o ip.check_checksum:TRUE -o tcp.check_checksum:TRUE -o tcp.relative_sequence_numbers:TRUE"
capture() { "$SUBJECT" pcap recording -o capture.pcap; }
fields() {
    for name in "$@"; do names="$names -e $name"; done
    tshark $strict -r capture.pcap -T fields -E separator=' ' $names 2>/dev/null
}
problems() {
    tshark $strict -r capture.pcap -Y '_ws.malformed || _ws.expert.severity >= 6291456 || ip.checksum.status == 0 || tcp.checksum.status == 0' 2>/dev/null
}
# The bytes that one side of a stream sent: 0, who opened it; 1, the other.
stream() {
    tshark $strict -r capture.pcap -q -z follow,tcp,raw,$1 2>/dev/null | sed '1,/^Node 1/d;/^===/d' |
        if [ "$2" = 0 ]; then grep -v '^	' || true; else grep '^	' || true; fi | tr -d '\t\n' | /usr/bin/python3 -c '
import sys
sys.stdout.buffer.write(bytes.fromhex(sys.stdin.read()))'
}
)sh";

Outcome captured(const std::string& recording, const std::string& script) {
    return ReportRun(recording, functions + ("capture\n" + script)).outcome();
}

std::string dataMessage(const std::string& kind, const std::string& bytes) {
    return "<" + kind + " timestamp_I8=\"1a1fbf6c002\" socket_I8=\"3\" pid_I4=\"64\" data_AS=\"" +
           escapedText(bytes) + "\" length_I4=\"1\"/>\n";
}

std::string connectMessage(const std::string& rest) {
    return "<connect pid_I4=\"64\" timestamp_I8=\"1a1fbf6c000\" socket_I8=\"3\" " + rest + "/>\n";
}

const std::string connectIpv4 =
    connectMessage("ip_AS=\"10.1.2.3\" port_I4=\"1f90\" localport_I4=\"c001\"");
const std::string connectIpv6 =
    connectMessage("ip_AS=\"2001:db8:0:0:0:0:0:7\" port_I4=\"1f90\" localport_I4=\"c001\"");

TEST(Capture, HasEveryPacketOfAConversation) {
    const Outcome outcome = captured(
        shortConversation,
        "fields frame.time_epoch ip.src tcp.srcport ip.dst tcp.dstport tcp.flags.str tcp.seq "
        "tcp.ack tcp.len | sed 's/·*//g'; problems");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "1795228614.656000000 127.0.0.1 49152 127.0.0.1 80 S 0 0 0\n"
              "1795228614.657000000 127.0.0.1 80 127.0.0.1 49152 AS 0 1 0\n"
              "1795228614.657000000 127.0.0.1 49152 127.0.0.1 80 A 1 1 0\n"
              "1795228614.658000000 127.0.0.1 49152 127.0.0.1 80 AP 1 1 4\n"
              "1795228614.658000000 127.0.0.1 80 127.0.0.1 49152 A 1 5 0\n"
              "1795228614.660000000 127.0.0.1 80 127.0.0.1 49152 AP 1 5 5\n"
              "1795228614.660000000 127.0.0.1 49152 127.0.0.1 80 A 5 6 0\n"
              "1795228614.661000000 127.0.0.1 49152 127.0.0.1 80 AF 5 6 0\n"
              "1795228614.661000000 127.0.0.1 80 127.0.0.1 49152 A 6 6 0\n"
              "1795228614.661000000 127.0.0.1 80 127.0.0.1 49152 AF 6 6 0\n"
              "1795228614.661000000 127.0.0.1 49152 127.0.0.1 80 A 6 7 0\n");
}

TEST(Capture, HasNanosecondsWhereTheRecordingHas) {
    const Outcome outcome = captured(
        "<connect timestamp_ns_I8=\"18e9eee9db300000\" pid_I4=\"64\" timestamp_I8=\"1a1fbf6c000\" "
        "socket_I8=\"3\" duration_I4=\"0\" duration_ns_I8=\"3\" ip_AS=\"10.0.0.1\" "
        "port_I4=\"50\"/>\n"
        "<send timestamp_ns_I8=\"18e9eee9db300104\" timestamp_I8=\"1a1fbf6c001\" socket_I8=\"3\" "
        "pid_I4=\"64\" data_AS=\"x\" length_U4=\"1\"/>\n",
        "fields frame.time_epoch");
    EXPECT_EQ(outcome.output,
              "1795228614.656000000\n1795228614.656000003\n1795228614.656000003\n"
              "1795228614.656000260\n1795228614.656000260\n");
}

TEST(Capture, MakesUpTheLocalAddressesAlwaysTheSameWay) {
    const Outcome outcome = captured(
        connectMessage("ip_AS=\"127.0.0.9\" port_I4=\"50\"") +
            connectMessage("ip_AS=\"0:0:0:0:0:0:0:1\" port_I4=\"50\"") +
            connectMessage("ip_AS=\"10.1.2.3\" port_I4=\"50\"") +
            connectMessage("ip_AS=\"2001:db8:0:0:0:0:0:7\" port_I4=\"50\"") +
            connectMessage("ip_AS=\"0:0:0:0:0:ffff:a01:203\" port_I4=\"50\" localport_I4=\"7\"") +
            "<accept pid_I4=\"64\" timestamp_I8=\"1a1fbf6c000\" from_I8=\"2\" socket_I8=\"4\" "
            "ip_AS=\"10.1.2.4\" port_I4=\"51\"/>\n" +
            "<send timestamp_I8=\"1a1fbf6c000\" socket_I8=\"9\" data_AS=\"x\" length_U4=\"1\"/>\n",
        "fields ip.src ipv6.src tcp.srcport ip.dst ipv6.dst tcp.dstport tcp.flags.str "
        "| sed 's/·*//g' | grep -v 'A$'; problems");
    EXPECT_EQ(outcome.output,
              "127.0.0.1  49153 127.0.0.9  80 S\n"
              "127.0.0.9  80 127.0.0.1  49153 AS\n"
              " ::1 49154  ::1 80 S\n"
              " ::1 80  ::1 49154 AS\n"
              "192.0.2.1  49155 10.1.2.3  80 S\n"
              "10.1.2.3  80 192.0.2.1  49155 AS\n"
              " 2001:db8::1 49156  2001:db8::7 80 S\n"
              " 2001:db8::7 80  2001:db8::1 49156 AS\n"
              "192.0.2.1  7 10.1.2.3  80 S\n"
              "10.1.2.3  80 192.0.2.1  7 AS\n"
              "10.1.2.4  81 192.0.2.1  49158 S\n"
              "192.0.2.1  49158 10.1.2.4  81 AS\n"
              "192.0.2.1  49159 198.51.100.1  9 AP\n");
}

class CaptureFamilyTest : public ::testing::TestWithParam<const std::string*> {};

TEST_P(CaptureFamilyTest, StreamsAreExactlyTheBytesSentAndReceived) {
    std::string large;
    for (int i = 0; large.size() < 300000; ++i)
        large += everyByte() + std::to_string(i);
    const std::string& connect = *GetParam();
    const Outcome outcome = captured(
        connect + dataMessage("send", everyByte()) + dataMessage("receive", large) +
            dataMessage("send", "odd") + dataMessage("receive", everyByte()) +
            "<send socket_I8=\"3\" pid_I4=\"64\" data_AS=\"refused\" length_U4=\"7\" "
            "error_I4=\"b\"/>\n"
            "<receive socket_I8=\"3\" pid_I4=\"64\" data_AS=\"old\" length_I4=\"0\"/>\n"
            "<close socket_I8=\"3\" pid_I4=\"64\"/>\n",
        "stream 0 0 >sent; stream 0 1 >received; problems; fields tcp.len | sort -n | tail -n 1;"
        "cksum <sent; cksum <received; fields tcp.flags.fin | grep -c 1");
    EXPECT_EQ(outcome.errors, "");
    TemporaryFolder folder;
    const auto sent = folder.makeFile("sent", everyByte() + "odd");
    const auto received = folder.makeFile("received", large + everyByte());
    EXPECT_EQ(outcome.output,
              "61440\n" + run("cksum <" + sent.string() + "; cksum <" + received.string()).output +
                  "2\n");
}

INSTANTIATE_TEST_SUITE_P(Both, CaptureFamilyTest, ::testing::Values(&connectIpv4, &connectIpv6));

TEST(Capture, KeepsConversationsOnTheSamePortsApart) {
    const std::string once =
        connectIpv4 + dataMessage("send", "one") + "<close socket_I8=\"3\" pid_I4=\"64\"/>\n" +
        connectIpv4 + dataMessage("send", "two") + connectIpv4 + dataMessage("send", "three");
    const Outcome outcome =
        captured(once, "for number in 0 1 2; do stream $number 0; echo; done; problems");
    EXPECT_EQ(outcome.output, "one\ntwo\nthree\n");
}

struct Ending {
    std::string recording;
    const char* flags;  // of every packet
};

TEST(Capture, ShowsHowConnectionsBeginAndEnd) {
    const std::string address = "ip_AS=\"10.1.2.3\" port_I4=\"50\" localport_I4=\"c001\"";
    const std::string underWay = connectMessage(address + " error_I4=\"73\"");
    const std::string close = "<close socket_I8=\"3\" pid_I4=\"64\"/>\n";
    const std::string end = "<receive socket_I8=\"3\" pid_I4=\"64\" length_I4=\"0\"/>\n";
    const std::string reset =
        "<receive socket_I8=\"3\" pid_I4=\"64\" length_I4=\"ffffffff\" error_I4=\"68\"/>\n";
    const Ending endings[] = {
        {connectMessage(address), "S AS A "},
        {connectMessage(address + " error_I4=\"6f\""), "S AR "},
        {connectMessage(address + " error_I4=\"6e\""), "S "},
        {underWay, "S "},
        {underWay + close, "S "},
        {underWay + underWay + connectMessage(address + " error_I4=\"6a\""), "S AS A "},
        {underWay + connectMessage(address + " error_I4=\"6f\""), "S AR "},
        {underWay + dataMessage("send", "x"), "S AS A AP A "},
        {underWay + dataMessage("receive", "x"), "S AS A AP A "},
        {connectMessage(address) + end, "S AS A AF A "},
        {connectMessage(address) + end + end + close, "S AS A AF A AF A "},
        {connectMessage(address) + close, "S AS A AF A AF A "},
        {connectMessage(address) + reset + reset + close, "S AS A AR "},
        {dataMessage("send", "x") + close, "AP A AF A AF A "},
    };
    for (const Ending& ending : endings) {
        const Outcome outcome =
            captured(ending.recording, "fields tcp.flags.str | sed 's/·*//g' | tr '\\n' ' '");
        EXPECT_EQ(outcome.output, ending.flags) << ending.recording;
    }
}

TEST(Capture, IsUnderstoodByAnAnalyser) {
    const Outcome outcome = captured(
        connectIpv4 + dataMessage("send", "GET /a HTTP/1.1\r\nHost: example\r\n\r\n") +
            dataMessage("receive", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhe") +
            dataMessage("receive", "llo"),
        "fields http.request.full_uri http.response.code http.content_length http.file_data "
        "| grep '[^ ]'; problems");
    EXPECT_EQ(outcome.output, "http://example/a   \n 200 5 hello\n");
}

TEST(Capture, LeavesDamagedLinesOut) {
    const Outcome outcome =
        ReportRun("<send>\n" + std::string(shortConversation),
                  functions + std::string("capture || echo $?; stream 0 0; stream 0 1"))
            .outcome();
    EXPECT_EQ(outcome.output, "2\npingpong!");
}

TEST(Capture, OfNothingHasNoPacket) {
    const Outcome outcome =
        captured("", "fields frame.number; capinfos -Mc capture.pcap | tail -n 1");
    EXPECT_EQ(outcome.output, "Number of packets:   0\n");
}

}  // namespace

}  // namespace veltra::testing
