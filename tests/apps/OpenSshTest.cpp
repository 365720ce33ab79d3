#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// A server with keys and settings of its own. `server` and `client` stand in front of the programs.
std::string sessionWith(const std::string& server, const std::string& client) {
    return R"sh(
port=$(free_port)
for key in host_key user_key; do ssh-keygen -q -t ed25519 -N '' -f "$key"; done
sed "s|@port@|$port|; s|@folder@|$PWD|" )sh" VELTRA_PROGRAMS R"sh(/sshd_config.in > sshd_config
[ "$(id -u)" -ne 0 ] || mkdir -p /run/sshd
serve )sh" +
           server +
           R"sh( /usr/sbin/sshd -D -e -f "$PWD/sshd_config"
wait_for "$port"
options="-F none -i user_key -o IdentitiesOnly=yes -o StrictHostKeyChecking=no
    -o UserKnownHostsFile=/dev/null -o LogLevel=ERROR"
there="$options -p $port $(id -un)@127.0.0.1"
)sh" + client +
           R"sh( ssh $there 'echo hello; echo oops >&2; exit 7' || echo "status $?"
seq 200000 | ssh $there cksum
seq 100000 > page
scp $options -q -P "$port" page "$(id -un)@127.0.0.1:$PWD/copy"
cmp page copy
)sh";
}

constexpr const char* said = "hello\nstatus 7\n3581800518 1288895\n";

TEST(OpenSsh, ClientTalksAndTheRecordingHoldsIt) {
    const AppRun run = runBothWays(sessionWith("", "$AGENT"));
    EXPECT_EQ(run.recorded.output, said);
    EXPECT_EQ(run.recorded.errors, "oops\n");
    EXPECT_EQ(count(run.recording, "process"), 1);
    EXPECT_EQ(count(run.recording, "connect"), 1);
    std::string sent;
    std::string received;
    for (const RecordedMessage& message : run.recording) {
        if (message.kind == "send") sent += message.values.at("data");
        if (message.kind == "receive") received += message.values.at("data");
    }
    EXPECT_EQ(sent.substr(0, 16), "SSH-2.0-OpenSSH_");
    EXPECT_EQ(received.substr(0, 16), "SSH-2.0-OpenSSH_");
}

// It gives up its rights, shuts itself in, closes every descriptor and starts itself anew.
TEST(OpenSsh, ServerServesAsWithoutTheAgent) {
    const AppRun run = runBothWays(sessionWith("$AGENT", ""));
    EXPECT_EQ(run.recorded.output, said);
    EXPECT_EQ(run.recorded.errors, "oops\n");
    ASSERT_GE(run.recording.size(), 4U);
    EXPECT_EQ(run.recording.front().kind, "process");
    EXPECT_GE(count(run.recording, "accept"), 1);
}

}  // namespace

}  // namespace veltra::testing
