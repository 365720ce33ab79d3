#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// What a program finds otherwise under the agent: these and nothing else are documented. The calls
// go straight to the C library's functions.
constexpr const char* calls = R"sh(
cat > calls.py <<'END'
import ctypes, errno, os, socket, sys

library = ctypes.CDLL(None, use_errno=True)

def result(name, *arguments):
    ctypes.set_errno(0)
    value = getattr(library, name)(*arguments)
    return f"{value} {errno.errorcode.get(ctypes.get_errno(), 'no error')}"

def connected(kind):
    listener = socket.socket(socket.AF_INET, kind)
    listener.bind(("127.0.0.1", 0))
    if kind == socket.SOCK_STREAM: listener.listen()
    client = socket.socket(socket.AF_INET, kind)
    client.connect(listener.getsockname())
    return client, listener

stream, listener = connected(socket.SOCK_STREAM)
datagram, other = connected(socket.SOCK_DGRAM)
)sh";

TEST(Differences, DatagramWithoutADestinationIsRefused) {
    const std::string script = calls + std::string(R"sh(
for name, client in ("stream", stream), ("datagram", datagram):
    print(name, result("sendto", client.fileno(), b"word", 4, 0, None, 0))
END
$AGENT python3 calls.py
)sh");
    const AppRun recorded = runRecorded(script);
    EXPECT_EQ(recorded.recorded.output, "stream 4 no error\ndatagram -1 EINVAL\n");
    EXPECT_EQ(run("AGENT=\n" + script).output, "stream 4 no error\ndatagram 4 no error\n");
}

// The two calls that learn a peer's address, on a listener with a client and on a socket with a
// word. `room` and `length` may be None; `asked` are the bytes of room that the program declares.
constexpr const char* peerCalls = R"sh(
def accept(room, length):
    return result("accept", listener.fileno(), room, length)

words = ctypes.create_string_buffer(10)
def recvfrom(room, length):
    return result("recvfrom", other.fileno(), words, 10, 0, room, length)

def peer(call, asked, with_room=True, with_length=True, sent=True):
    datagram.send(b"word")
    if not sent:
        other.recv(10)
        if call == accept: listener.accept()
        for waiting in listener, other: waiting.setblocking(False)
    room = ctypes.create_string_buffer(b"." * 16, 16)
    length = ctypes.c_uint(asked)
    outcome = call(room if with_room else None, ctypes.byref(length) if with_length else None)
    outcome = "accepted" if call == accept and not outcome.startswith("-1") else outcome
    print(call.__name__, outcome, "length", length.value, "written", len(room.raw.rstrip(b".")))
)sh";

// A script that asks for a peer's address with both calls.
std::string askingForThePeer(const std::string& arguments) {
    return std::string(calls) + peerCalls + "peer(accept, " + arguments + ")\npeer(recvfrom, " +
           arguments + ")\nEND\n$AGENT python3 calls.py\n";
}

// What the program asks for, and what it finds with the agent and without.
struct PeerCase {
    const char* name;
    const char* arguments;
    const char* recorded;
    const char* bare;
};

std::ostream& operator<<(std::ostream& stream, const PeerCase& peerCase) {
    return stream << peerCase.arguments;
}

class PeerDifferences : public ::testing::TestWithParam<PeerCase> {};

TEST_P(PeerDifferences, AreTheseAndNothingElse) {
    const std::string script = askingForThePeer(GetParam().arguments);
    EXPECT_EQ(runRecorded(script).recorded.output, GetParam().recorded);
    EXPECT_EQ(run("AGENT=\n" + script).output, GetParam().bare);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, PeerDifferences,
    ::testing::Values(
        PeerCase{"LittleRoomIsFilledAsIfThereWereEnough", "2",
                 "accept accepted length 16 written 16\nrecvfrom 4 no error length 16 written 16\n",
                 "accept accepted length 16 written 2\nrecvfrom 4 no error length 16 written 2\n"},
        PeerCase{"RoomWithoutALengthIsFilled", "2, with_length=False",
                 "accept accepted length 2 written 16\nrecvfrom 4 no error length 2 written 16\n",
                 "accept -1 EFAULT length 2 written 0\nrecvfrom -1 EFAULT length 2 written 0\n"},
        PeerCase{
            "LengthWithoutRoomIsWritten", "100, with_room=False",
            "accept accepted length 16 written 0\nrecvfrom 4 no error length 16 written 0\n",
            "accept accepted length 100 written 0\nrecvfrom 4 no error length 100 written 0\n"},
        PeerCase{"LittleLengthIsRaisedWhereThereIsNobody", "2, sent=False",
                 "accept -1 EAGAIN length 16 written 0\nrecvfrom -1 EAGAIN length 16 written 0\n",
                 "accept -1 EAGAIN length 2 written 0\nrecvfrom -1 EAGAIN length 2 written 0\n"},
        PeerCase{
            "EnoughRoomMakesNoDifference", "16",
            "accept accepted length 16 written 16\nrecvfrom 4 no error length 16 written 16\n",
            "accept accepted length 16 written 16\nrecvfrom 4 no error length 16 written 16\n"},
        PeerCase{"NeitherMakesNoDifference", "16, with_room=False, with_length=False",
                 "accept accepted length 16 written 0\nrecvfrom 4 no error length 16 written 0\n",
                 "accept accepted length 16 written 0\nrecvfrom 4 no error length 16 written 0\n"}),
    [](const ::testing::TestParamInfo<PeerCase>& peerCase) {
        return std::string(peerCase.param.name);
    });

// A program that lists its descriptors finds the trace file's among them, far from its own.
TEST(Differences, TraceFileIsAmongTheDescriptors) {
    const std::string script = calls + std::string(R"sh(
for entry in sorted(map(int, os.listdir("/proc/self/fd"))):
    try: target = os.readlink(f"/proc/self/fd/{entry}")
    except OSError: continue
    if "/trace/" in target: print("trace file", entry >= 200, os.get_inheritable(entry))
END
ulimit -n 1000
)sh");
    const std::string traced =
        "$AGENT env VELTRA_SOCKET_AGENT_DEBUG_LVL=1023 "
        "VELTRA_SOCKET_AGENT_DEBUG_DIR=\"$PWD/trace\" "
        "python3 calls.py\n";
    EXPECT_EQ(runRecorded(script + traced).recorded.output, "trace file True False\n");
    EXPECT_EQ(runRecorded(script + "$AGENT python3 calls.py\n").recorded.output, "");
}

// A child that may open no more sockets sends a word. `action` is what the sandbox does otherwise.
std::string sendingInASandbox(const std::string& action) {
    return std::string(calls) + R"sh(
import struct
child = os.fork()
if child == 0:
    instructions = struct.pack("HBBI" * 4, 0x20, 0, 0, 0,  # the number of the system call
                               0x15, 0, 1, 41,  # socket
                               0x06, 0, 0, )sh" +
           action + R"sh(,
                               0x06, 0, 0, 0x7FFF0000)  # allowed
    instructions = ctypes.create_string_buffer(instructions)
    program = struct.pack("HxxxxxxP", 4, ctypes.addressof(instructions))
    library.prctl(38, 1, 0, 0, 0)  # no new privileges
    if library.prctl(22, 2, program) != 0: os._exit(1)
    os._exit(0 if library.send(stream.fileno(), b"word", 4, 0) == 4 else 2)
status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
stream.close()
accepted = listener.accept()[0]
print(status, accepted.recv(10))
END
$AGENT python3 calls.py
)sh";
}

TEST(Differences, SandboxThatRefusesSocketsCostsTheMessagesAlone) {
    const AppRun run = runBothWays(sendingInASandbox("0x0005000D"));
    EXPECT_EQ(run.recorded.output, "0 b'word'\n");
    EXPECT_EQ(count(run.recording, "connect"), 1);
    EXPECT_EQ(count(run.recording, "send"), 0);
}

TEST(Differences, SandboxThatEndsWhoeverOpensASocketEndsTheProgram) {
    const std::string script = sendingInASandbox("0x80000000");
    EXPECT_EQ(runRecorded(script).recorded.output, "-31 b'word'\n");
    EXPECT_EQ(run("AGENT=\n" + script).output, "0 b'word'\n");
}

}  // namespace

}  // namespace veltra::testing
