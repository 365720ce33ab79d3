#include <gtest/gtest.h>

#include <map>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// A server that has a page of its own, and takes what is under /behind/ from another server. `load`
// is what happens meanwhile.
std::string serveUnder(const std::string& load) {
    return R"sh(
port=$(free_port)
behind=$(free_port)
mkdir -p site logs
seq 1 5000 > site/page
cat > nginx.conf <<END
daemon off;
worker_processes 1;
error_log $PWD/logs/error.log;
pid $PWD/nginx.pid;
events {}
http {
    access_log off;
    client_body_temp_path $PWD/body;
    proxy_temp_path $PWD/proxy;
    fastcgi_temp_path $PWD/fastcgi;
    uwsgi_temp_path $PWD/uwsgi;
    scgi_temp_path $PWD/scgi;
    server {
        listen 127.0.0.1:$port;
        root $PWD/site;
        location /behind/ { proxy_pass http://127.0.0.1:$behind/; }
    }
}
END
chmod -R a+rX "$PWD"
serve python3 -m http.server --bind 127.0.0.1 --directory site "$behind"
wait_for "$behind"
$AGENT /usr/sbin/nginx -p "$PWD" -c "$PWD/nginx.conf" -e "$PWD/logs/error.log" &
nginx=$!
wait_for "$port"
)sh" + load +
           R"sh(
kill -QUIT "$(cat nginx.pid)"
wait $nginx
grep -vE 'signal process|\[notice\]' logs/error.log || true
)sh";
}

std::string askFor(const std::string& page, int times, int together) {
    return "ab -q -n " + std::to_string(times) + " -c " + std::to_string(together) +
           " \"http://127.0.0.1:$port/" + page +
           "\" | grep -E '^(Complete|Failed|HTML transferred|Non-2xx)' | tr -s ' '\n"
           "curl -s \"http://127.0.0.1:$port/" +
           page + "\" | cksum\n";
}

std::string loadReport(int times) {
    return "Complete requests: " + std::to_string(times) +
           "\nFailed requests: 0\nHTML transferred: " + std::to_string(times * 23893) + " bytes\n";
}

// The server binds and listens; its accepts, and thus its clients, are not seen.
void expectListening(const std::vector<RecordedMessage>& recording) {
    ASSERT_GE(recording.size(), 4U);
    EXPECT_EQ(recording[0].kind, "process");
    const char* const names[] = {"bind", "listen", "listen"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(recording[i + 1].kind, "notrecorded");
        EXPECT_EQ(recording[i + 1].values.at("name"), names[i]);
    }
    EXPECT_EQ(count(recording, "process"), 1);
    EXPECT_EQ(count(recording, "notrecorded"), 3);
}

TEST(Nginx, ServesUnderLoadWhatItServesWithoutTheAgent) {
    const AppRun run = runBothWays(serveUnder(askFor("page", 500, 20)));
    EXPECT_EQ(run.recorded.output.substr(0, loadReport(500).size()), loadReport(500));
    expectListening(run.recording);
    EXPECT_EQ(kindsOf(run.recording), "process notrecorded notrecorded notrecorded");
}

TEST(Nginx, InFrontOfAnotherServerIsRecordedAskingIt) {
    const AppRun run = runBothWays(serveUnder(askFor("behind/page", 40, 4)));
    EXPECT_EQ(run.recorded.output.substr(0, loadReport(40).size()), loadReport(40));
    expectListening(run.recording);
    EXPECT_EQ(count(run.recording, "connect"), 41);
    EXPECT_EQ(count(run.recording, "close"), 41);
    EXPECT_EQ(count(run.recording, "accept"), 0);
    // Its requests go out with a call that is not interposed, and so does the rest of long answers
    // come in; the answers' beginnings are seen.
    EXPECT_EQ(count(run.recording, "send"), 0);
    std::map<long long, std::string> answers;
    int begun = 0;
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "connect") answers[message.number("socket")] = "";
        if (message.kind == "receive")
            answers[message.number("socket")] += message.values.at("data");
        if (message.kind == "close" &&
            answers[message.number("socket")].substr(0, 17) == "HTTP/1.0 200 OK\r\n")
            ++begun;
    }
    EXPECT_EQ(begun, 41);
}

}  // namespace

}  // namespace veltra::testing
