#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "AppRun.h"

namespace veltra::testing {

namespace {

TEST(Python, ThreadsThatTalkAtOnceLoseNoWord) {
    const AppRun run = runBothWays(R"sh(
cat > talk.py <<'END'
import socket, threading

listener = socket.create_server(("127.0.0.1", 0), backlog=100)

def answer(connection):
    with connection:
        while data := connection.recv(1000):
            connection.sendall(data.upper())

def serve():
    while True:
        connection, _ = listener.accept()
        threading.Thread(target=answer, args=(connection,), daemon=True).start()

def talk(number):
    for turn in range(25):
        with socket.create_connection(listener.getsockname()) as client:
            client.sendall(b"<%d/%d>" % (number, turn))
            client.recv(1000)

threading.Thread(target=serve, daemon=True).start()
talkers = [threading.Thread(target=talk, args=(number,)) for number in range(8)]
for talker in talkers: talker.start()
for talker in talkers: talker.join()
print("done")
END
$AGENT python3 talk.py
)sh");
    EXPECT_EQ(run.recorded.output, "done\n");
    EXPECT_EQ(run.recording.front().kind, "process");
    EXPECT_EQ(count(run.recording, "process"), 1);
    EXPECT_EQ(count(run.recording, "connect"), 200);
    std::multiset<std::string> questions;
    std::multiset<std::string> answers;
    std::set<long long> tickets;
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "connect") {
            EXPECT_EQ(message.number("loopback"), 1);
        }
        if (message.kind != "process") {
            EXPECT_TRUE(tickets.insert(message.number("ticket")).second);
        }
        const auto data = message.values.find("data");
        if (data == message.values.end() || data->second.empty()) continue;
        if (message.kind == "send") questions.insert(data->second);
        if (message.kind == "receive") answers.insert(data->second);
    }
    for (int number = 0; number < 8; ++number) {
        for (int turn = 0; turn < 25; ++turn) {
            std::ostringstream words;
            words << '<' << number << '/' << turn << '>';
            const std::string word = words.str();
            EXPECT_GE(questions.count(word), 1U) << word;
            EXPECT_GE(answers.count(word), 1U) << word;
        }
    }
}

TEST(Python, KeepsItsStandardStreamsAndItsExitStatus) {
    const AppRun run = runBothWays(R"sh(
echo "from outside" | $AGENT python3 -c 'import sys; print(sys.stdin.read()); sys.exit(3)' || echo "status $?"
)sh");
    EXPECT_EQ(run.recorded.output, "from outside\n\nstatus 3\n");
}

}  // namespace

}  // namespace veltra::testing
