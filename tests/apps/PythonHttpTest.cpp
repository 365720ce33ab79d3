#include <gtest/gtest.h>

#include <algorithm>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// A client that has bodies of several sizes reversed, over one connection; `serverAgent` and
// `clientAgent` are what stands in front of either.
std::string reverseBodies(const std::string& serverAgent, const std::string& clientAgent) {
    return R"sh(
port=$(free_port)
cat > server.py <<'END'
import http.server, sys

class Reverser(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))[::-1]
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass

server = http.server.HTTPServer(("127.0.0.1", int(sys.argv[1])), Reverser)
server.handle_request()
END
cat > client.py <<'END'
import http.client, sys

connection = http.client.HTTPConnection("127.0.0.1", int(sys.argv[1]))
for size in (0, 5, 3000, 100000):
    body = bytes(i % 251 for i in range(size))
    connection.request("POST", "/reversed", body)
    answer = connection.getresponse()
    print(answer.status, size, answer.read() == body[::-1])
connection.close()
END
)sh" + serverAgent +
           R"sh( python3 server.py "$port" &
wait_for "$port"
)sh" + clientAgent +
           R"sh( python3 client.py "$port"
wait $!
)sh";
}

const std::string everyBody = "200 0 True\n200 5 True\n200 3000 True\n200 100000 True\n";

std::string body(int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(i % 251);
    return bytes;
}

// What the client sends, byte for byte.
std::string requests(int port) {
    std::string text;
    for (const int size : {0, 5, 3000, 100000}) {
        text += "POST /reversed HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                "\r\nAccept-Encoding: identity\r\nContent-Length: " + std::to_string(size) +
                "\r\n\r\n" + body(size);
    }
    return text;
}

TEST(PythonHttp, ClientIsRecordedByteForByteInBothDirections) {
    const AppRun run = runBothWays(reverseBodies("", "$AGENT"));
    EXPECT_EQ(run.recorded.output, everyBody);
    EXPECT_EQ(count(run.recording, "process"), 1);
    EXPECT_EQ(count(run.recording, "addrinfo"), 1);
    ASSERT_EQ(count(run.recording, "connect"), 1);
    EXPECT_EQ(count(run.recording, "close"), 1);
    int port = 0;
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "connect") port = static_cast<int>(message.number("port"));
    }
    EXPECT_TRUE(conversationWith(run.recording, port, "send") == requests(port));

    std::string answers = conversationWith(run.recording, port, "receive");
    for (const int size : {0, 5, 3000, 100000}) {
        EXPECT_EQ(answers.substr(0, 17), "HTTP/1.1 200 OK\r\n");
        const std::size_t begin = answers.find("\r\n\r\n") + 4;
        std::string reversed = body(size);
        std::reverse(reversed.begin(), reversed.end());
        EXPECT_TRUE(answers.substr(begin, reversed.size()) == reversed) << size;
        answers.erase(0, begin + reversed.size());
    }
    EXPECT_EQ(answers, "");
}

// Python accepts with a call that is not interposed.
TEST(PythonHttp, ServerServesAsEverAndIsSeenListening) {
    const AppRun run = runBothWays(reverseBodies("$AGENT", ""));
    EXPECT_EQ(run.recorded.output, everyBody);
    EXPECT_EQ(kindsOf(run.recording), "process notrecorded notrecorded");
    EXPECT_EQ(run.recording[1].values.at("name"), "bind");
    EXPECT_EQ(run.recording[2].values.at("name"), "listen");
}

}  // namespace

}  // namespace veltra::testing
