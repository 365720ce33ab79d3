#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

#include "ScriptedSystem.h"
#include "base/utils.h"
#include "support/FailingMalloc.h"
#include "support/TraceLog.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::FailingMalloc;
using veltra::testing::TraceLog;

// A text that is `length` long together with the label of an INFO line.
std::string textFor(std::size_t length) {
    std::string text(length - 7, 'x');
    text.front() = '<';
    text.back() = '>';
    return text;
}

class TraceBuffer : public ::testing::Test {
protected:
    // The whole log after one INFO line of that length.
    static std::string traceLine(TraceLog& log, std::size_t length) {
        x_disp(TRACE_INFO, "%s", textFor(length).c_str());
        return log.takeText();
    }
    static std::string lineFor(std::size_t length) { return "[INFO ]" + textFor(length) + "\n"; }

private:
    ScriptedSystemScope scope_;
};

TEST_F(TraceBuffer, GrowsWhenLabelAndMessageReach8185Bytes) {
    TraceLog log;
    EXPECT_EQ(internal_buffer_display_size, 8192);
    EXPECT_EQ(traceLine(log, 8184), lineFor(8184));
    EXPECT_EQ(internal_buffer_display_size, 8192);
    EXPECT_EQ(traceLine(log, 8185), lineFor(8185) + "[INFO ]buffer resized to : 12288\n");
    EXPECT_EQ(internal_buffer_display_size, 12288);
    EXPECT_EQ(scriptedSystem.takeDebugServerLines(),
              (std::vector<std::string>{lineFor(8184), lineFor(8185),
                                        "[INFO ]buffer resized to : 12288\n"}));
}

TEST_F(TraceBuffer, GrowsAgainAndNeverShrinks) {
    TraceLog log;
    EXPECT_EQ(traceLine(log, 8185), lineFor(8185) + "[INFO ]buffer resized to : 12288\n");
    EXPECT_EQ(traceLine(log, 100), lineFor(100));
    EXPECT_EQ(internal_buffer_display_size, 12288);
    EXPECT_EQ(traceLine(log, 12280), lineFor(12280));
    EXPECT_EQ(internal_buffer_display_size, 12288);
    EXPECT_EQ(traceLine(log, 12281), lineFor(12281) + "[INFO ]buffer resized to : 16384\n");
    EXPECT_EQ(traceLine(log, 16376), lineFor(16376));
    EXPECT_EQ(traceLine(log, 16377), lineFor(16377) + "[INFO ]buffer resized to : 20480\n");
    EXPECT_EQ(traceLine(log, 8), lineFor(8));
    EXPECT_EQ(internal_buffer_display_size, 20480);
}

struct Growth {
    std::size_t length;
    int size;
};

TEST_F(TraceBuffer, GrowsToWholePagesAtOnce) {
    constexpr Growth growths[] = {{8185, 12288},  {8190, 12288},  {8191, 12288},     {8192, 12288},
                                  {12279, 12288}, {12280, 16384}, {12281, 16384},    {16375, 16384},
                                  {16376, 20480}, {20000, 20480}, {1000000, 1003520}};
    for (const Growth& growth : growths) {
        TraceLog log;
        EXPECT_EQ(traceLine(log, growth.length),
                  lineFor(growth.length) +
                      "[INFO ]buffer resized to : " + std::to_string(growth.size) + "\n");
        EXPECT_EQ(internal_buffer_display_size, growth.size);
    }
}

TEST_F(TraceBuffer, FreeTextHasNoLabelToCount) {
    TraceLog log;
    const std::string fits(8184, 'y');
    const std::string grows(8185, 'z');
    x_disp(TRACE_GENER, "%s", fits.c_str());
    EXPECT_EQ(log.takeText(), fits + "\n");
    x_disp(TRACE_GENER, "%s", grows.c_str());
    EXPECT_EQ(log.takeText(), grows + "\n[INFO ]buffer resized to : 12288\n");
}

TEST_F(TraceBuffer, EveryArgumentIsFormattedAgainAfterTheGrowth) {
    TraceLog log;
    const std::string filler(9000, 'f');
    x_disp(TRACE_CALL, "[%d]%s %lld %c %s", 3, filler.c_str(), 5000000000LL, 'c', "end");
    EXPECT_EQ(log.takeText(),
              "[CALL ][3]" + filler + " 5000000000 c end\n" + "[INFO ]buffer resized to : 12288\n");
}

TEST_F(TraceBuffer, GrowthIsNotTracedWhenInfoIsDisabled) {
    TraceLog log(1 << TRACE_DATA);
    const std::string text(9000, 'd');
    x_disp(TRACE_DATA, "%s", text.c_str());
    EXPECT_EQ(log.takeText(), "[DATA ]" + text + "\n");
    EXPECT_EQ(internal_buffer_display_size, 12288);
}

TEST_F(TraceBuffer, LowLinesGrowItToo) {
    TraceLog log;
    const std::string text(9000, 'l');
    x_disp(TRACE_LOW, "%s", text.c_str());
    EXPECT_EQ(log.takeText(), "[INFO ]buffer resized to : 12288\n");
    EXPECT_THAT(scriptedSystem.takeDebugServerLines(),
                ElementsAre("[LOW  ]" + text + "\n", "[INFO ]buffer resized to : 12288\n"));
}

TEST_F(TraceBuffer, IsFreshForEveryLogFile) {
    TraceLog log;
    traceLine(log, 9000);
    EXPECT_EQ(internal_buffer_display_size, 12288);
    set_file_display(log.file().c_str(), "");
    EXPECT_EQ(internal_buffer_display_size, 8192);
}

TEST_F(TraceBuffer, ALineThatCannotGrowIsDroppedAndTheNextOneIsWritten) {
    TraceLog log;
    std::optional<FailingMalloc> shortage(std::in_place, 8193);
    EXPECT_EQ(traceLine(log, 8185), "");
    EXPECT_EQ(traceLine(log, 9000), "");
    EXPECT_EQ(traceLine(log, 100), lineFor(100));
    EXPECT_EQ(traceLine(log, 8184), lineFor(8184));
    shortage.reset();
    EXPECT_EQ(traceLine(log, 8185), lineFor(8185) + "[INFO ]buffer resized to : 12288\n");
}

TEST_F(TraceBuffer, LinesAreDroppedWhileThereIsNoMemoryForIt) {
    TraceLog log;
    {
        const FailingMalloc failing(8192);
        initializeCriticalSections();
        EXPECT_EQ(internal_buffer_display, nullptr);
        x_disp(TRACE_INFO, "dropped");
        x_disp(TRACE_LOW, "dropped");
    }
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_THAT(scriptedSystem.takeDebugServerLines(), IsEmpty());
    EXPECT_EQ(traceLine(log, 100), lineFor(100));
    EXPECT_EQ(traceLine(log, 8185), lineFor(8185) + "[INFO ]buffer resized to : 12288\n");
}

}  // namespace
