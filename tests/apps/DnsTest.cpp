#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "AppRun.h"

namespace veltra::testing {

namespace {

using Lines = std::vector<std::string>;

// A name server for one name, and the program that asks it.
std::string askNameServer(const std::string& question) {
    return R"sh(
port=$(free_port)
serve dnsmasq --keep-in-foreground --port="$port" --listen-address=127.0.0.1 --bind-interfaces \
    --no-resolv --no-hosts --pid-file= --conf-file=/dev/null --user= \
    --host-record=known.example,192.0.2.77,2001:db8::77
wait_for "$port"
export VELTRA_SOCKET_AGENT_DEBUG_LVL=1022 VELTRA_SOCKET_AGENT_DEBUG_DIR=trace
)sh" + question;
}

const std::string askByDatagram = askNameServer(R"sh(
cat > ask.py <<'END'
import socket, sys
server = ("127.0.0.1", int(sys.argv[1]))
question = b"\x12\x34\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00\x05known\x07example\x00\x00\x01\x00\x01"
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
    print(client.sendto(question, server))
    answer, origin = client.recvfrom(1000)
    print(len(answer), socket.inet_ntoa(answer[-4:]), origin == server)
END
$AGENT python3 ask.py "$port"
)sh");

// The trace from the program's own socket on, with "N" for call numbers, "A" for addresses
// and "S" for the socket.
Lines socketTrace(const std::string& trace) {
    const std::size_t begin = trace.find("[CALL ]");
    std::string text = begin == std::string::npos ? "" : trace.substr(begin);
    text = std::regex_replace(text, std::regex("\\]\\[[0-9]+\\]"), "][N]");
    text = std::regex_replace(text, std::regex("0x[0-9A-F]{8}"), "A");
    text = std::regex_replace(text, std::regex("(socket :| on) [0-9a-f]+"), "$1 S");
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

TEST(NameServer, AskedByDatagramLeavesTracesButNoMessage) {
    const AppRun run = runBothWays(askByDatagram);
    EXPECT_EQ(run.recorded.output, "31\n47 192.0.2.77 True\n");
    EXPECT_EQ(kindsOf(run.recording), "");
    const Lines lines = socketTrace(run.trace);
    const Lines expected = {
        "[CALL ][N]socket ",
        "[RET  ][N]socket (OK):\tsocket : S\t af = (2)AF_INET,\t type = (524290)SOCK_CLOEXEC | "
        "SOCK_DGRAM,\t protocol = (0)IPPROTO_UDP",
        "[CALL ][N]sendto \tsocket : S",
        "[RET  ][N]sendto (OK):\tsocket : S\t len = 31,\t flags = 0,\t buf = A",
        "[INFO ][N]sendto on S not logged (UDPSOCKET)",
        "[CALL ][N]recvfrom \tsocket : S",
        "[RET  ][N]recvfrom (OK) :\tsocket : S\t len = 1000,\t flags = 0,\t buf = A\t from = A\t "
        "fromlen 16",
        "[INFO ][N]recvfrom on S not logged (UDPSOCKET)",
        "[CALL ][N]closesocket \tsocket : S",
        "[RET  ][N]closesocket (OK):\tsocket : S",
        "[INFO ]*********** memo list ************",
        "[INFO ]**********************************",
        "[INFO ][N]closesocket on S not logged (no connect or accept)"};
    ASSERT_GE(lines.size(), expected.size());
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + static_cast<long>(expected.size())), expected);
}

TEST(NameServer, AskedByItsOwnClientGivesTheSameAnswers) {
    const AppRun run = runBothWays(askNameServer(R"sh(
$AGENT dig +short @127.0.0.1 -p "$port" known.example A known.example AAAA
)sh"));
    EXPECT_EQ(run.recorded.output, "192.0.2.77\n2001:db8::77\n");
    // Binding the datagram socket is announced. Neither its connect nor its data is recorded.
    EXPECT_GE(count(run.recording, "notrecorded"), 1);
    for (const char* const kind : {"connect", "send", "receive", "close"})
        EXPECT_EQ(count(run.recording, kind), 0) << kind;
    EXPECT_NE(run.trace.find("not logged (UDPSOCKET)\n"), std::string::npos);
}

}  // namespace

}  // namespace veltra::testing
