#include "AppRun.h"

#include <gtest/gtest.h>

#include <filesystem>

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
    python3 - "${1:-127.0.0.1}" <<'END'
import errno, random, socket, sys
family = socket.AF_INET6 if ":" in sys.argv[1] else socket.AF_INET
while True:
    # Below those that the system gives to other tests' sockets meanwhile.
    port = random.randrange(20000, 32000)
    try:
        socket.create_server((sys.argv[1], port), family=family).close()
        break
    except OSError as error:
        if error.errno != errno.EADDRINUSE: raise
print(port)
END
}
wait_for() {
    until grep -qsE ":$(printf %04X "$1") 0+:0000 0A" /proc/net/tcp /proc/net/tcp6; do
        sleep 0.01
    done
}
)sh";

std::map<std::string, std::string> filesOf(const Shell& shell) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(shell.folder())) {
        const std::string name = entry.path().filename();
        if (entry.is_regular_file()) files[name] = shell.file(name);
    }
    return files;
}

std::string filesIn(const std::filesystem::path& folder) {
    std::string text;
    if (!std::filesystem::exists(folder)) return text;
    for (const auto& file : std::filesystem::directory_iterator(folder))
        text += contentOf(file);
    return text;
}

}  // namespace

AppRun runRecorded(const std::string& script) {
    AppRun result;
    Shell shell(functions + ("AGENT=\"$RECORD -o recording --\"\n" + script));
    result.recorded = shell.wait();
    result.files = filesOf(shell);
    result.recording = parseRecording(result.files["recording"]);
    result.trace = filesIn(shell.folder() / "trace");
    EXPECT_EQ(result.recorded.exitStatus, 0) << result.recorded.errors;
    return result;
}

AppRun runBothWays(const std::string& script) {
    AppRun result = runRecorded(script);
    result.bare = run(functions + ("AGENT=\n" + script));
    EXPECT_EQ(result.bare.exitStatus, 0) << result.bare.errors;
    EXPECT_EQ(result.recorded.output, result.bare.output);
    EXPECT_EQ(result.recorded.errors, result.bare.errors);
    return result;
}

}  // namespace veltra::testing
