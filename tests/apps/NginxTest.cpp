#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

TEST(Nginx, ServesUnderTheAgentWhatItServesWithout) {
    const AppRun run = runBothWays(R"sh(
port=$(free_port)
mkdir -p site logs
seq 1 50000 > site/page
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
    server { listen 127.0.0.1:$port; root $PWD/site; }
}
END
chmod -R a+rX "$PWD"
$AGENT /usr/sbin/nginx -p "$PWD" -c "$PWD/nginx.conf" -e "$PWD/logs/error.log" &
wait_for "$port"
for i in 1 2 3 4 5 6 7 8 9 10; do curl -s "http://127.0.0.1:$port/page" | cksum; done
kill -QUIT "$(cat nginx.pid)"
wait $!
)sh");
    EXPECT_NE(run.bare.output, "");
    // The server binds and listens in its first process; its accepts are not of an interposed kind.
    EXPECT_EQ(count(run.recording, "process"), 1);
    EXPECT_GE(count(run.recording, "notrecorded"), 2);
}

}  // namespace

}  // namespace veltra::testing
