#include <gtest/gtest.h>

#include "record/CommandEnvironment.h"

namespace veltra::testing {

namespace {

using Texts = std::vector<std::string>;

TEST(CommandEnvironment, NamesLibraryAndSettings) {
    const char* const environment[] = {"HOME=/root", "EMPTY=", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", {{"ONE", "1"}, {"TWO", "a=b"}}),
              (Texts{"HOME=/root", "EMPTY=", "LD_PRELOAD=/lib/agent.so", "ONE=1", "TWO=a=b"}));
}

TEST(CommandEnvironment, PutsTheLibraryBeforeWhatIsPreloadedAlready) {
    const char* const environment[] = {"LD_PRELOAD=/lib/one.so two.so:/lib/three.so", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", {}),
              Texts{"LD_PRELOAD=/lib/agent.so:/lib/one.so two.so:/lib/three.so"});
}

TEST(CommandEnvironment, TakesAnEmptyPreloadForNone) {
    const char* const environment[] = {"LD_PRELOAD=", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", {}),
              Texts{"LD_PRELOAD=/lib/agent.so"});
}

TEST(CommandEnvironment, ReplacesOtherSettingsOfTheSameNames) {
    const char* const environment[] = {"ONE=9", "TWO", "ONEMORE=3", "TW=4", nullptr};
    EXPECT_EQ(recordedEnvironment(environment, "/lib/agent.so", {{"TWO", ""}, {"ONE", "1"}}),
              (Texts{"ONEMORE=3", "TW=4", "LD_PRELOAD=/lib/agent.so", "TWO=", "ONE=1"}));
}

}  // namespace

}  // namespace veltra::testing
