#include <gtest/gtest.h>

#include "record/CommandEnvironment.h"

namespace veltra::testing {

namespace {

using Texts = std::vector<std::string>;

TEST(CommandEnvironment, NamesLibraryAndRecorder) {
    const char* const environment[] = {"HOME=/root", "EMPTY=", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", 4321),
              (Texts{"HOME=/root", "EMPTY=", "LD_PRELOAD=/lib/agent.so",
                     "VELTRA_SOCKET_AGENT_IP_ADDRESS=127.0.0.1",
                     "VELTRA_SOCKET_AGENT_PORT_NUMBER=4321"}));
}

TEST(CommandEnvironment, PutsTheLibraryBeforeWhatIsPreloadedAlready) {
    const char* const environment[] = {"LD_PRELOAD=/lib/one.so two.so:/lib/three.so", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", 1).at(0),
              "LD_PRELOAD=/lib/agent.so:/lib/one.so two.so:/lib/three.so");
}

TEST(CommandEnvironment, TakesAnEmptyPreloadForNone) {
    const char* const environment[] = {"LD_PRELOAD=", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", 1).at(0),
              "LD_PRELOAD=/lib/agent.so");
}

TEST(CommandEnvironment, ReplacesAnotherRecorder) {
    const char* const environment[] = {"VELTRA_SOCKET_AGENT_PORT_NUMBER=9",
                                       "VELTRA_SOCKET_AGENT_IP_ADDRESS=10.0.0.1",
                                       "VELTRA_SOCKET_AGENT_DEBUG_LVL=3", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", 65535),
              (Texts{"VELTRA_SOCKET_AGENT_DEBUG_LVL=3", "LD_PRELOAD=/lib/agent.so",
                     "VELTRA_SOCKET_AGENT_IP_ADDRESS=127.0.0.1",
                     "VELTRA_SOCKET_AGENT_PORT_NUMBER=65535"}));
}

}  // namespace

}  // namespace veltra::testing
