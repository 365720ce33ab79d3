#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "AppRun.h"

namespace veltra::testing {

namespace {

constexpr const char* fetchPage = R"sh(
port=$(free_port)
mkdir site
seq 1 20000 > site/page
serve python3 -m http.server --bind 127.0.0.1 --directory site "$port"
wait_for "$port"
$AGENT curl -s "http://127.0.0.1:$port/page" > fetched
cmp fetched site/page
cksum < fetched
)sh";

int destinationPort(const std::vector<RecordedMessage>& recording) {
    for (const RecordedMessage& message : recording) {
        if (message.kind == "connect") return static_cast<int>(message.number("port"));
    }
    return 0;
}

TEST(Curl, FetchesTheSamePageAndTheRecordingHoldsIt) {
    const AppRun run = runBothWays(fetchPage);
    ASSERT_FALSE(run.recording.empty());
    EXPECT_EQ(run.recording.front().kind, "process");
    EXPECT_EQ(count(run.recording, "process"), 1);
    EXPECT_EQ(count(run.recording, "connect"), 1);
    EXPECT_EQ(count(run.recording, "close"), 1);
    const int port = destinationPort(run.recording);
    const std::string request = conversationWith(run.recording, port, "send");
    EXPECT_EQ(request.substr(0, 20), "GET /page HTTP/1.1\r\n");
    EXPECT_EQ(request.substr(request.size() - 4), "\r\n\r\n");
    const std::string answer = conversationWith(run.recording, port, "receive");
    EXPECT_EQ(answer.substr(0, 15), "HTTP/1.0 200 OK");
    std::string page;
    for (int line = 1; line <= 20000; ++line)
        page += std::to_string(line) + "\n";
    EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), page);
}

// A server that lets as many clients wait as the test has. Prints nothing.
constexpr const char* fetchManyAtOnce = R"sh(
port=$(free_port)
mkdir site fetched
for number in $(seq 200); do seq "$number" > "site/$number"; done
cat > server.py <<'END'
import functools, http.server, sys
class Server(http.server.ThreadingHTTPServer):
    request_queue_size = 400
handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory="site")
Server(("127.0.0.1", int(sys.argv[1])), handler).serve_forever()
END
serve python3 server.py "$port"
wait_for "$port"
$AGENT curl --no-progress-meter --fail --parallel --parallel-immediate --parallel-max 200 \
    -o "fetched/#1" "http://127.0.0.1:$port/[1-200]"
for number in $(seq 200); do cmp "site/$number" "fetched/$number"; done
cat $(seq -f 'fetched/%g' 200) | cksum
)sh";

TEST(Curl, FetchesManyFilesAtOnceAndTheRecordingHoldsThemAll) {
    const AppRun run = runBothWays(fetchManyAtOnce);
    std::map<long long, std::string> answers;
    std::multiset<std::string> received;
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "receive") {
            EXPECT_FALSE(message.values.contains("error"));
            answers[message.number("socket")] += message.values.at("data");
        }
        if (message.kind == "close") {
            const std::string answer = answers[message.number("socket")];
            received.insert(answer.substr(std::min(answer.size(), answer.find("\r\n\r\n") + 4)));
            answers.erase(message.number("socket"));
        }
    }
    EXPECT_EQ(count(run.recording, "close"), 200);
    std::multiset<std::string> served;
    std::string file;
    for (int line = 1; line <= 200; ++line)
        served.insert(file += std::to_string(line) + "\n");
    EXPECT_EQ(received, served);
}

TEST(Curl, FindsNobodyListeningAndTheRecordingSaysSo) {
    const AppRun run = runBothWays(R"sh(
port=$(free_port)
if $AGENT curl -s "http://127.0.0.1:$port/"; then exit 1; else echo "curl: $?"; fi
)sh");
    ASSERT_EQ(count(run.recording, "connect"), 1);
    EXPECT_EQ(run.recorded.output, "curl: 7\n");
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "connect") {
            EXPECT_EQ(message.values.at("family"), "AF_INET");
            EXPECT_EQ(message.values.at("ip"), "127.0.0.1");
        }
    }
}

}  // namespace

}  // namespace veltra::testing
