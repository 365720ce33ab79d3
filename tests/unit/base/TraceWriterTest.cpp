#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <thread>
#include <vector>

#include "ScriptedSystem.h"
#include "base/CriticalSection.h"
#include "base/traceUtils.h"
#include "base/utils.h"
#include "support/FreshProcess.h"
#include "support/TraceLog.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::inFreshProcess;
using veltra::testing::TraceLog;

// The line of each kind with the text "text 7".
constexpr const char* lineOfKind[10] = {
    "[ERROR]text 7", "[INFO ]text 7", "[HOOK ]text 7", "[CALL ]text 7", "[RET  ]text 7",
    "[WARNI]text 7", "[DATA ]text 7", "[LAUNC]text 7", "[LOW  ]text 7", "text 7"};

void traceAllKinds() {
    for (int kind = 0; kind < 10; ++kind) {
        x_disp(static_cast<DebugMessageKind>(kind), "text %d", 7);
    }
}

std::vector<std::string> withNewlines(std::vector<std::string> lines) {
    for (std::string& line : lines)
        line += '\n';
    return lines;
}

class TraceWriter : public ::testing::Test {
private:
    ScriptedSystemScope scope_;
};

TEST_F(TraceWriter, LabelsAndNumbersOfTheKinds) {
    const std::vector<std::string> labels(std::begin(IMAGE_DEBUG), std::end(IMAGE_DEBUG));
    EXPECT_THAT(labels, ElementsAre("ERROR", "INFO ", "HOOK ", "CALL ", "RET  ", "WARNI", "DATA ",
                                    "LAUNC", "LOW  ", "GENER"));
    EXPECT_THAT((std::vector<int>{TRACE_ERROR, TRACE_INFO, TRACE_HOOK, TRACE_CALL, TRACE_RET,
                                  TRACE_WARNI, TRACE_DATA, TRACE_LAUNC, TRACE_LOW, TRACE_GENER}),
                ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST_F(TraceWriter, EachBitOfTheLevelEnablesOneKind) {
    for (int enabled = 0; enabled < 10; ++enabled) {
        TraceLog log(1 << enabled);
        traceAllKinds();
        std::vector<std::string> file;
        std::vector<std::string> server;
        for (int kind = 0; kind < 10; ++kind) {
            if (kind == enabled && kind != TRACE_LOW) file.emplace_back(lineOfKind[kind]);
            if (kind == enabled || kind == TRACE_LOW) server.emplace_back(lineOfKind[kind]);
        }
        EXPECT_EQ(log.takeLines(), file) << enabled;
        EXPECT_EQ(scriptedSystem.takeDebugServerLines(), withNewlines(server)) << enabled;
    }
}

TEST_F(TraceWriter, AllKindsButTheLowOneGoToTheFile) {
    for (const int level : {1023, -1}) {
        TraceLog log(level);
        traceAllKinds();
        EXPECT_EQ(log.takeText(),
                  "[ERROR]text 7\n[INFO ]text 7\n[HOOK ]text 7\n[CALL ]text 7\n[RET  ]text 7\n"
                  "[WARNI]text 7\n[DATA ]text 7\n[LAUNC]text 7\ntext 7\n");
        EXPECT_EQ(scriptedSystem.takeDebugServerLines(),
                  withNewlines({std::begin(lineOfKind), std::end(lineOfKind)}));
    }
}

TEST_F(TraceWriter, LevelsOfSeveralKinds) {
    TraceLog log(3);
    traceAllKinds();
    EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]text 7", "[INFO ]text 7"));
    debugLvl.store(0);
    traceAllKinds();
    EXPECT_THAT(log.takeLines(), IsEmpty());
    debugLvl.store(0x238);
    traceAllKinds();
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[CALL ]text 7", "[RET  ]text 7", "[WARNI]text 7", "text 7"));
}

TEST_F(TraceWriter, KindsCountModulo32) {
    for (const int level : {0, 1, 0x208, 0x100, -1, -2147483647 - 1}) {
        const TraceLog log(level);
        EXPECT_EQ(getDebugLvl(), level);
        for (int kind = 0; kind < 100; ++kind) {
            const bool bit = (static_cast<unsigned>(level) >> (kind % 32) & 1U) != 0;
            EXPECT_EQ(isDebugLevelEnable(kind), kind == 8 || bit) << level << ' ' << kind;
            EXPECT_EQ(isTraceWritten(kind), kind == 8 || bit) << level << ' ' << kind;
        }
    }
}

TEST_F(TraceWriter, WithoutALogFileOnlyLowLinesAreProduced) {
    TraceLog log;
    set_file_display(nullptr, nullptr);
    traceAllKinds();
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_THAT(scriptedSystem.takeDebugServerLines(), ElementsAre("[LOW  ]text 7\n"));
}

TEST_F(TraceWriter, FormatsLikePrintf) {
    TraceLog log;
    x_disp(TRACE_CALL, "[%d]socket ", 12);
    x_disp(TRACE_RET, "%s|%5d|%-5s|%08lx|%c|%u|%lld|%%", "text", 42, "ab", 0xbeefUL, 'c', 7U,
           -5000000000LL);
    x_disp(TRACE_GENER, "%s", "");
    x_disp(TRACE_INFO, "%s", "");
    EXPECT_EQ(
        log.takeText(),
        "[CALL ][12]socket \n[RET  ]text|   42|ab   |0000beef|c|7|-5000000000|%\n\n[INFO ]\n");
}

TEST_F(TraceWriter, MissingFamilyNamePrintsAsANullText) {
    TraceLog log;
    x_disp(TRACE_INFO, "family %s", familyToString(26));
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]family (null)"));
}

void traceWithList(DebugMessageKind kind, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
void traceWithList(DebugMessageKind kind, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vx_disp(kind, format, arguments);
    va_end(arguments);
}

TEST_F(TraceWriter, TakesAnArgumentList) {
    TraceLog log(1 << TRACE_ERROR);
    traceWithList(TRACE_ERROR, "%d and %s", 1, "two");
    traceWithList(TRACE_INFO, "%d and %s", 1, "two");
    EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]1 and two"));
}

TEST_F(TraceWriter, DoesNotFlush) {
    TraceLog log;
    x_disp(TRACE_INFO, "kept back");
    EXPECT_EQ(veltra::testing::contentOf(log.file()).find("kept back"), std::string::npos);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]kept back"));
}

TEST_F(TraceWriter, CleaningSwitchesTracingOffAndFreesTheBuffer) {
    inFreshProcess([] {
        TraceLog log;
        cleanCriticalSections();
        EXPECT_EQ(getDebugLvl(), 0);
        EXPECT_EQ(internal_buffer_display, nullptr);
        EXPECT_EQ(internal_buffer_display_size, 8192);
        for (const DebugMessageKind kind : {TRACE_ERROR, TRACE_INFO, TRACE_CALL, TRACE_GENER}) {
            x_disp(kind, "dropped");
        }
        EXPECT_THAT(log.takeLines(), IsEmpty());
        EXPECT_THAT(scriptedSystem.takeDebugServerLines(), IsEmpty());
    });
}

TEST_F(TraceWriter, CleaningTwiceAndSettingUpAgain) {
    inFreshProcess([] {
        initializeCriticalSections();
        EXPECT_NE(internal_buffer_display, nullptr);
        EXPECT_EQ(internal_buffer_display_size, 8192);
        EXPECT_EQ(getDebugLvl(), -1);
        cleanCriticalSections();
        initializeCriticalSections();
        EXPECT_NE(internal_buffer_display, nullptr);
        EXPECT_EQ(internal_buffer_display_size, 8192);
        EXPECT_EQ(getDebugLvl(), 0);
        EXPECT_EQ(pthread_mutex_trylock(&criticalSectionLog), 0);
        EXPECT_EQ(EndCriticalSectionBase(&criticalSectionLog), 0);
    });
}

// Thread t's line i is as long as a few numbers make it: long enough now and then to make the
// buffer grow.
std::string threadsText(int thread, int line) {
    return std::string(static_cast<std::size_t>(line * (37 + thread)),
                       static_cast<char>('a' + thread));
}

TEST_F(TraceWriter, LinesOfSeveralThreadsAreWholeAndInOrder) {
    constexpr int threadCount = 4;
    constexpr int lineCount = 300;
    TraceLog log;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < lineCount; ++line) {
                x_disp(TRACE_DATA, "%d:%d:%s", thread, line, threadsText(thread, line).c_str());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::vector<std::vector<std::string>> seen(threadCount + 1);
    for (const std::string& line : log.takeLines()) {
        const bool isText = line.size() > 7 && line.rfind("[DATA ]", 0) == 0;
        seen[isText ? static_cast<std::size_t>(line[7] - '0') : threadCount].push_back(line);
    }
    for (int thread = 0; thread < threadCount; ++thread) {
        std::vector<std::string> expected;
        for (int line = 0; line < lineCount; ++line) {
            expected.push_back("[DATA ]" + std::to_string(thread) + ':' + std::to_string(line) +
                               ':' + threadsText(thread, line));
        }
        EXPECT_EQ(seen[static_cast<std::size_t>(thread)], expected);
    }
    EXPECT_THAT(seen[threadCount], ElementsAre("[INFO ]buffer resized to : 12288"));
}

TEST(TraceArguments, AreEvaluatedForLinesThatAreWrittenOnly) {
    int evaluated = 0;
    x_disp(TRACE_INFO, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    veltra::testing::TraceLog log;
    x_disp(TRACE_INFO, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(log.takeLines(), std::vector<std::string>{"[INFO ]1"});
}

}  // namespace
