#include <gtest/gtest.h>

#include <map>
#include <numeric>

#include "Recording.h"
#include "tools/Shell.h"

namespace veltra::testing {

namespace {

// A recorder as users write it, and how long it waits before it reads a connection.
struct RecorderKind {
    const char* name;
    const char* command;
    int late;  // milliseconds
};

constexpr const char* plainRecorder = VELTRA_PLAIN_RECORDER;
constexpr const char* python = "python3 " VELTRA_ASYNCIO_RECORDER;

std::string commandOf(const RecorderKind& kind) {
    const bool isPlain = kind.command == plainRecorder;
    return std::string(kind.command) + (isPlain ? std::string(" ") + kind.name : "") + " " +
           std::to_string(kind.late);
}

class RecorderKinds : public ::testing::TestWithParam<RecorderKind> {};

// The agent has closed a connection long before such a recorder reads it, and keeps no port for it.
TEST_P(RecorderKinds, GetEveryMessageWhole) {
    Shell shell(R"sh(
set -e
cat > talk.py <<'END'
import socket, threading
listener = socket.create_server(("127.0.0.1", 0))
with socket.socket() as near:
    near.connect(listener.getsockname())
    far, _ = listener.accept()
    def drain():
        while far.recv(1 << 20): pass
    threading.Thread(target=drain).start()
    for size in [1] * 60 + [1000] * 60 + [65536] * 20 + [1 << 20] * 3 + [8 << 20]:
        near.sendall(b"x" * size)
    near.shutdown(socket.SHUT_WR)
END
mkfifo told
$SUBJECT 1000 149 recording > told &
exec 3< told
read -r port <&3
$RECORD -q --recorder "127.0.0.1:$port" -- python3 talk.py
cat <&3
)sh",
                commandOf(GetParam()));
    const Outcome outcome = shell.wait();
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.errors;
    EXPECT_NE(outcome.output.find("errors 0\n"), std::string::npos) << outcome.output;
    const auto recording = parseRecording(shell.file("recording"));
    std::map<long long, int> sizes;
    for (const RecordedMessage& message : recording) {
        if (message.kind != "send") continue;
        EXPECT_EQ(message.values.at("data"),
                  std::string(static_cast<std::size_t>(message.number("length")), 'x'));
        ++sizes[message.number("length")];
    }
    const std::map<long long, int> expected = {
        {1, 60}, {1000, 60}, {65536, 20}, {1 << 20, 3}, {8 << 20, 1}};
    EXPECT_EQ(sizes, expected);
    EXPECT_EQ(recording.size(), 149u);
}

INSTANTIATE_TEST_SUITE_P(All, RecorderKinds,
                         ::testing::Values(RecorderKind{"blocking", plainRecorder, 0},
                                           RecorderKind{"blocking", plainRecorder, 5},
                                           RecorderKind{"poll", plainRecorder, 0},
                                           RecorderKind{"poll", plainRecorder, 5},
                                           RecorderKind{"epoll", plainRecorder, 0},
                                           RecorderKind{"epoll", plainRecorder, 5},
                                           RecorderKind{"asyncio", python, 0},
                                           RecorderKind{"asyncio", python, 5}),
                         [](const auto& test) {
                             return test.param.name +
                                    (test.param.late == 0 ? std::string("Prompt") : "Late");
                         });

}  // namespace

}  // namespace veltra::testing
