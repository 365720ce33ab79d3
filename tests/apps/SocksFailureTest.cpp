#include <gtest/gtest.h>

#include <cerrno>

#include "AppRun.h"
#include "SocksSetting.h"

namespace veltra::testing {

namespace {

class SocksFailure : public ::testing::TestWithParam<bool> {
protected:
    SocksSetting serverOf(const std::string& name) const { return {name, GetParam()}; }

    // Under the agent, connects to the web server, or to a port that nobody listens on.
    AppRun connectThrough(const SocksSetting& setting, bool isTargetThere,
                          const std::string& afterwards = "") const {
        return runRecorded(withSocksServer(setting) +
                           (isTargetThere ? "" : "port=$(free_port \"$address\")\n") + connectOnly +
                           afterwards + "echo \"$port\" > port\n");
    }

    // The connect of the recording, which has to tell the real destination.
    RecordedMessage connectOf(const AppRun& run, const SocksSetting& setting) const {
        RecordedMessage connect = onlyConnect(run.recording);
        EXPECT_EQ(connect.values["family"], setting.recordedFamily());
        EXPECT_EQ(connect.values["ip"], setting.recordedAddress());
        EXPECT_EQ(connect.number("port"), std::stoi(run.files.at("port")));
        return connect;
    }

    void expectRefused(const AppRun& run, const SocksSetting& setting) const {
        EXPECT_EQ(run.recorded.output, "111 closed 9\n");
        const RecordedMessage connect = connectOf(run, setting);
        EXPECT_EQ(connect.number("error"), ECONNREFUSED);
        EXPECT_EQ(connect.values.count("sockserror"), 0U);
        EXPECT_EQ(connect.values.count("localport"), 0U);
        EXPECT_EQ(count(run.recording, "close"), 0);
    }
};

TEST_P(SocksFailure, ServerThatIsNotThereLeavesTheDirectWay) {
    const SocksSetting setting = serverOf("nobody");
    const AppRun run = runBothWays(withSocksServer(setting) + pageClients().at("pythonSockets") +
                                   "cmp fetched site/page\n");
    const RecordedMessage connect = connectOf(run, setting);
    EXPECT_EQ(connect.number("sockserror"), ECONNREFUSED);
    EXPECT_EQ(connect.values.count("error"), 0U);
    const int port = std::stoi(run.files.at("port"));
    EXPECT_NE(conversationWith(run.recording, port, "send"), "");
    EXPECT_NE(conversationWith(run.recording, port, "receive"), "");
}

TEST_P(SocksFailure, ServerThatIsNotThereLeavesEventLoopsTheDirectWay) {
    const SocksSetting setting = serverOf("nobody");
    const AppRun run = runBothWays(withSocksServer(setting) + pageClients().at("pythonEpoll") +
                                   "cmp fetched site/page\n");
    const RecordedMessage connect = connectOf(run, setting);
    EXPECT_EQ(connect.number("sockserror"), ECONNREFUSED);
    EXPECT_EQ(connect.number("error"), EINPROGRESS);
}

TEST_P(SocksFailure, DestinationThatTheServerBlocksIsRefused) {
    const SocksSetting setting = serverOf("dantedThatBlocks");
    const AppRun run = connectThrough(setting, true, awaitLogLine("info: block(1): tcp/connect "));
    expectRefused(run, setting);
}

TEST_P(SocksFailure, BlockedDestinationIsForCurlOneThatRefuses) {
    const SocksSetting setting = serverOf("dantedThatBlocks");
    const AppRun run = runRecorded(withSocksServer(setting) + R"sh(
$AGENT curl -s -g "http://$host:$port/page" || echo "curl: $?"
)sh");
    EXPECT_EQ(run.recorded.output, "curl: 7\n");
    EXPECT_EQ(connectOf(run, setting).number("error"), ECONNREFUSED);
}

TEST_P(SocksFailure, DestinationThatIsNotThereIsRefused) {
    for (const char* const name : {"danted", "microsocks"}) {
        SCOPED_TRACE(name);
        const SocksSetting setting = serverOf(name);
        expectRefused(connectThrough(setting, false), setting);
    }
}

TEST_P(SocksFailure, ServerThatWantsAPasswordLeavesAClosedDescriptor) {
    const SocksSetting setting = serverOf("microsocksWithPassword");
    const AppRun run = connectThrough(setting, true);
    EXPECT_EQ(run.recorded.output, "9 closed 9\n");
    const RecordedMessage connect = connectOf(run, setting);
    EXPECT_EQ(connect.number("sockserror"), EPROTONOSUPPORT);
    EXPECT_EQ(connect.number("error"), EBADF);
}

INSTANTIATE_TEST_SUITE_P(BothFamilies, SocksFailure, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& isIpv6) {
                             return isIpv6.param ? "Ipv6" : "Ipv4";
                         });

}  // namespace

}  // namespace veltra::testing
