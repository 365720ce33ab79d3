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

// The address arrives whole, though the program has declared room for its family alone.
TEST(Differences, AcceptAndRecvfromWriteTheWholeAddress) {
    const std::string script = calls + std::string(R"sh(
def address_after(call, *arguments):
    room = ctypes.create_string_buffer(b"." * 16, 16)
    length = ctypes.c_uint(2)
    outcome = call(room, length, *arguments)
    print("failed" if outcome < 0 else "written", length.value, room.raw[8:16].count(b"."))

accept = lambda room, length: library.accept(listener.fileno(), room, ctypes.byref(length))
address_after(accept)
datagram.send(b"word")
words = ctypes.create_string_buffer(10)
address_after(lambda room, length: library.recvfrom(other.fileno(), words, 10, 0, room, ctypes.byref(length)))
END
$AGENT python3 calls.py
)sh");
    const AppRun recorded = runRecorded(script);
    EXPECT_EQ(recorded.recorded.output, "written 16 0\nwritten 16 0\n");
    EXPECT_EQ(run("AGENT=\n" + script).output, "written 16 8\nwritten 16 8\n");
}

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

}  // namespace

}  // namespace veltra::testing
