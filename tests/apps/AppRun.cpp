#include "AppRun.h"

#include <gtest/gtest.h>

namespace veltra::testing {

namespace {

constexpr const char* functions = R"sh(
set -e
servers=
trap 'kill $servers 2>/dev/null || true; wait' EXIT
serve() {
    "$@" >/dev/null 2>&1 &
    servers="$servers $!"
}
free_port() {
    python3 -c 'import socket; s = socket.create_server(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
wait_for() {
    python3 - "$1" <<'END'
import socket, sys, time
while True:
    try:
        socket.create_connection(("127.0.0.1", int(sys.argv[1]))).close()
        break
    except ConnectionRefusedError:
        time.sleep(0.01)
END
}
)sh";

}  // namespace

AppRun runBothWays(const std::string& script) {
    AppRun result;
    result.bare = run(functions + ("AGENT=\n" + script));
    Shell shell(functions + ("AGENT=\"$RECORD -o recording --\"\n" + script));
    result.recorded = shell.wait();
    result.recording = parseRecording(shell.file("recording"));
    EXPECT_EQ(result.bare.exitStatus, 0) << result.bare.errors;
    EXPECT_EQ(result.recorded.exitStatus, 0) << result.recorded.errors;
    EXPECT_EQ(result.recorded.output, result.bare.output);
    EXPECT_EQ(result.recorded.errors, result.bare.errors);
    return result;
}

}  // namespace veltra::testing
