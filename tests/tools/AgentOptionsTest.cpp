// What the launcher's options make of the real agent and real programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "Shell.h"
#include "support/SocksServer.h"

namespace veltra::testing {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Lines = std::vector<std::string>;

Lines linesOf(const std::string& text) {
    Lines lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

Lines only(const Lines& lines, const std::string& kind) {
    Lines found;
    std::ranges::copy_if(lines, std::back_inserter(found), [&](const std::string& line) {
        return line.starts_with("<" + kind + " ");
    });
    return found;
}

std::string valueOf(const std::string& line, const std::string& attribute) {
    const std::string begin = " " + attribute + "=\"";
    const std::size_t start = line.find(begin);
    if (start == std::string::npos) return "";
    return line.substr(start + begin.size(),
                       line.find('"', start + begin.size()) - start - begin.size());
}

// A Python program that connects to the address, sends a word, and reads another.
std::string client(const std::string& address, const std::string& port) {
    return "python3 -c '\n"
           "import socket\n"
           "family = socket.AF_INET6 if \":\" in \"" +
           address +
           "\" else socket.AF_INET\n"
           "client = socket.socket(family, socket.SOCK_STREAM)\n"
           "client.connect((\"" +
           address + "\", " + port +
           "))\n"
           "client.send(b\"question\")\n"
           "print(client.recv(100).decode())\n"
           "client.close()\n"
           "'";
}

// A server for two clients and such a client.
constexpr const char* writePrograms =
    "cat >server.py <<END\n"
    "import socket\n"
    "listener = socket.create_server((\"127.0.0.1\", 0))\n"
    "print(listener.getsockname()[1], flush=True)\n"
    "for number in (1, 2):\n"
    "    peer, address = listener.accept()\n"
    "    peer.recv(100)\n"
    "    peer.send(b\"answer\")\n"
    "END\n"
    "cat >client.py <<END\n"
    "import socket, sys\n"
    "client = socket.socket()\n"
    "client.connect((\"127.0.0.1\", int(sys.argv[1])))\n"
    "client.send(b\"question\")\n"
    "client.recv(100)\n"
    "client.close()\n"
    "END\n";

TEST(AgentOptions, TellChildrenApart) {
    Shell shell(writePrograms +
                std::string("mkfifo port; python3 server.py >port & read port <port;"
                            "exec \"$RECORD\" -o recording --summary sh -c '"
                            "for number in 1 2; do python3 client.py $0 & echo $!; done; wait'"
                            " $port"));
    const Outcome outcome = shell.wait();
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.errors;

    const Lines children = linesOf(outcome.output);
    ASSERT_THAT(children, SizeIs(2));
    const Lines recording = linesOf(shell.file("recording"));
    for (const char* kind : {"connect", "send", "receive", "close"}) {
        Lines processes;
        for (const std::string& line : only(recording, kind)) {
            processes.push_back(std::to_string(std::stoi(valueOf(line, "pid_I4"), nullptr, 16)));
        }
        EXPECT_THAT(processes, ::testing::UnorderedElementsAreArray(children)) << kind;
    }
    const Lines table = linesOf(outcome.errors);
    ASSERT_THAT(table, SizeIs(4)) << outcome.errors;
    for (const std::string& child : children) {
        EXPECT_TRUE(table[1].starts_with(child + " ") || table[2].starts_with(child + " "));
    }
    EXPECT_THAT(table[3], MatchesRegex("total +2 connections +2 +16 +2 +12 +0"));
}

TEST(AgentOptions, ReroutesThroughASocksServer) {
    const std::string granted = bytes(5, 0, 0, 1, 127, 0, 0, 1, 0, 80);
    const SocksTurn request{socksIpv4Request, granted};
    for (const bool isDouble : {false, true}) {
        SocksServer server({socksAcceptance, request, {8, "answer"}});
        Shell shell(
            "exec \"$RECORD\" -o recording --socks 127.0.0.1:" + std::to_string(server.port()) +
            " --socks-timeout 5" + (isDouble ? " --double-log " : " ") + client("192.0.2.7", "80"));
        const Outcome outcome = shell.wait();
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, "answer\n");
        EXPECT_EQ(server.received(),
                  socksGreeting + bytes(5, 1, 0, 1, 192, 0, 2, 7, 0, 80) + "question");
        const Lines recording = linesOf(shell.file("recording"));
        const Lines connects = only(recording, "connect");
        ASSERT_THAT(connects, SizeIs(1));
        EXPECT_EQ(valueOf(connects[0], "ip_AS"), "192.0.2.7");
        EXPECT_EQ(valueOf(connects[0], "sockserror_I4"), "0");
        EXPECT_THAT(only(recording, "send"), SizeIs(isDouble ? 1 : 0));
    }
}

TEST(AgentOptions, ReroutesIpv6Too) {
    const std::string granted = bytes(5, 0, 0, 1, 127, 0, 0, 1, 0, 80);
    SocksServer server({socksAcceptance, {socksIpv6Request, granted}, {8, "answer"}},
                       SocksEnding::listen, AF_INET6);
    Shell shell("exec \"$RECORD\" -o recording --socks6 '[::1]:" + std::to_string(server.port()) +
                "' " + client("2001:db8::7", "80"));
    const Outcome outcome = shell.wait();
    EXPECT_EQ(outcome.output, "answer\n") << outcome.errors;
    EXPECT_THAT(server.received(),
                StartsWith(socksGreeting + bytes(5, 1, 0, 4, 0x20, 1, 0xd, 0xb8)));
}

TEST(AgentOptions, WritesTraces) {
    Shell shell(
        "mkdir elsewhere; exec \"$RECORD\" -o recording --trace-dir traces --trace 8"
        " sh -c 'cd elsewhere; exec python3 -c \"import socket; socket.socket()\"'");
    EXPECT_EQ(shell.wait().exitStatus, 0);
    std::string traces;
    for (const auto& file : std::filesystem::directory_iterator(shell.folder() / "traces")) {
        traces += contentOf(file);
    }
    EXPECT_THAT(traces, HasSubstr("[CALL ]["));
    EXPECT_THAT(traces, Not(HasSubstr("[RET  ][")));
}

TEST(AgentOptions, PrintsACallStack) {
    const Outcome outcome =
        run("exec \"$RECORD\" -o recording --traceback python3 -c '"
            "import ctypes, socket; socket.socket(); ctypes.string_at(0)'");
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_THAT(outcome.output, AllOf(StartsWith("SigSEV @ (nil) \n"), HasSubstr("End Stack")));
}

}  // namespace

}  // namespace veltra::testing
