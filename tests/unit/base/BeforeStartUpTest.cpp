#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ScriptedSystem.h"
#include "base/utils.h"
#include "support/FreshProcess.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::inFreshProcess;

TEST(BeforeStartUp, EveryKindIsEnabledButOnlyLowLinesAreProduced) {
    inFreshProcess([] {
        EXPECT_EQ(getDebugLvl(), -1);
        EXPECT_EQ(internal_buffer_display, nullptr);
        EXPECT_FALSE(hasLogFile());
        for (int kind = 0; kind < 10; ++kind) {
            EXPECT_TRUE(isDebugLevelEnable(kind)) << kind;
            EXPECT_EQ(isTraceWritten(kind), kind == TRACE_LOW) << kind;
            if (kind != TRACE_LOW) x_disp(static_cast<DebugMessageKind>(kind), "dropped");
        }
        EXPECT_EQ(internal_buffer_display, nullptr);
        EXPECT_THAT(scriptedSystem.takeDebugServerLines(), IsEmpty());
        x_disp(TRACE_LOW, "text %d", 7);
        EXPECT_THAT(scriptedSystem.takeDebugServerLines(), ElementsAre("[LOW  ]text 7\n"));
    });
}

}  // namespace
