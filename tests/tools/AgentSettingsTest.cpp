#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "record/AgentSettings.h"

namespace veltra {

// For the matchers.
static bool operator==(const AgentSetting& one, const AgentSetting& other) {
    return one.variable == other.variable && one.value == other.value;
}

static void PrintTo(const AgentSetting& setting, std::ostream* stream) {
    *stream << setting.variable << '=' << setting.value;
}

namespace testing {

namespace {

using ::testing::ElementsAre;

TEST(AgentSettings, NameTheRecorder) {
    EXPECT_THAT(agentSettings({"10.0.0.1", 65535}, "", {}),
                ElementsAre(AgentSetting{"VELTRA_SOCKET_AGENT_IP_ADDRESS", "10.0.0.1"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_PORT_NUMBER", "65535"}));
}

TEST(AgentSettings, AreWhatIsWishedFor) {
    const AgentWishes wishes{.socks = ServerAddress{"192.0.2.1", 1080},
                             .socks6 = ServerAddress{"2001:db8::1", 1081},
                             .socksTimeout = 7,
                             .recordRerouted = true,
                             .traceKinds = 65,
                             .traceFolder = "/traces",
                             .traceback = true};
    EXPECT_THAT(agentSettings({"127.0.0.1", 1}, "/core.so", wishes),
                ElementsAre(AgentSetting{"VELTRA_SOCKET_AGENT_IP_ADDRESS", "127.0.0.1"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_PORT_NUMBER", "1"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH", "/core.so"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS", "192.0.2.1"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4", "1080"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_SOCKS_IPV6_ADDRESS", "2001:db8::1"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV6", "1081"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_SOCKS_MAX_TIMEOUT", "7"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_DOUBLE_LOG_SOCKS", "1"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_DEBUG_LVL", "65"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_DEBUG_DIR", "/traces"},
                            AgentSetting{"VELTRA_SOCKET_AGENT_DEBUG_TRACEBACK", "1"}));
}

}  // namespace

}  // namespace testing

}  // namespace veltra
