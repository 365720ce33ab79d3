#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

using ::testing::MatchesRegex;

const std::string stackBegin = "==================================Stack=========================";
const std::string stackEnd = "================================End Stack=======================";

ProbeSettings crash(const std::string& scenario) {
    ProbeSettings settings = quietProbe("crash", scenario);
    settings.environment["VELTRA_SOCKET_AGENT_DEBUG_TRACEBACK"] = "";
    return settings;
}

ProbeOutcome runCrash(const std::string& scenario) {
    ProbeOutcome outcome = runWithAgent(crash(scenario));
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.messages, Lines{});
    return outcome;
}

// What stands between the banners, each line of which has to be in one of the three forms.
Lines framesIn(const Lines& output) {
    const auto begin = std::find(output.begin(), output.end(), stackBegin);
    const auto end = std::find(begin, output.end(), stackEnd);
    if (end == output.end()) {
        ADD_FAILURE() << "no stack";
        return {};
    }
    const char* const frame =
        "       @ 0x[1-9a-f][0-9a-f]*"
        "( \\( [A-Za-z0-9_]+ \\+ (0x[1-9a-f][0-9a-f]*|\\(nil\\))\\) \\[[^]]+\\]"
        "|  \\[[^]]+ \\+ 0x[1-9a-f][0-9a-f]*\\]| )";
    for (auto line = begin + 1; line != end; ++line)
        EXPECT_THAT(*line, MatchesRegex(frame));
    return {begin + 1, end};
}

bool isIn(const std::string& frame, const std::string& file) {
    return frame.find(file) != std::string::npos;
}

// The first lines of the output are the bare program's; the address and the stack come behind.
void expectCrashAt(const Lines& output, std::size_t line, const std::string& place) {
    ASSERT_GT(output.size(), line + 1);
    EXPECT_EQ(output[line], place);
    EXPECT_EQ(output[line + 1], stackBegin);
}

TEST(Crash, PrintsAddressAndStackAndEndsWell) {
    const Lines output = runCrash("null-pointer").output;
    expectCrashAt(output, 1, "SigSEV @ (nil) ");
    EXPECT_EQ(output.front(), "socket: descriptor errno 77");
    ASSERT_GT(output.size(), 4U);
    EXPECT_EQ(output[output.size() - 2], stackEnd);
    EXPECT_EQ(output.back(), "at exit");

    // The handler's own frame, the signal's, and then the program's.
    const Lines frames = framesIn(output);
    ASSERT_GT(frames.size(), 4U);
    EXPECT_LT(frames.size(), 100U);
    const std::string program = "  [" VELTRA_PROBE_DIRECTORY "/veltra_probe_crash + 0x";
    EXPECT_TRUE(isIn(frames[0], "AGENT") || isIn(frames[0], VELTRA_BUILT_AGENT)) << frames[0];
    EXPECT_TRUE(isIn(frames[1], "libc.so.6")) << frames[1];
    EXPECT_TRUE(isIn(frames[2], program)) << frames[2];
    EXPECT_TRUE(isIn(frames.back(), program)) << frames.back();
}

TEST(Crash, NamesTheSymbolAtTheAddress) {
    const Lines output = runCrash("inside-symbol").output;
    ASSERT_GT(output.size(), 2U);
    expectCrashAt(output, 2, output[1]);
    framesIn(output);
}

TEST(Crash, NamesTheLibraryAtTheAddress) {
    const Lines output = runCrash("inside-library").output;
    ASSERT_GT(output.size(), 2U);
    expectCrashAt(output, 2, output[1]);
    framesIn(output);
}

TEST(Crash, ShowsTheBareAddressOfCodeThatIsInNoLibrary) {
    const Lines output = runCrash("outside-libraries").output;
    expectCrashAt(output, 2, "SigSEV @ (nil) ");
    const Lines frames = framesIn(output);
    ASSERT_GT(frames.size(), 2U);
    EXPECT_EQ(frames[2], output[1]);
}

TEST(Crash, InADeepStackPrints100Frames) {
    const Lines output = runCrash("deep-stack").output;
    expectCrashAt(output, 1, "SigSEV @ (nil) ");
    EXPECT_EQ(framesIn(output).size(), 100U);
    EXPECT_EQ(output.size(), 104U);
    EXPECT_EQ(output.back(), stackEnd);
}

TEST(Crash, ComesWithAnyValueOfTheVariable) {
    ProbeSettings settings = crash("null-pointer");
    settings.environment["VELTRA_SOCKET_AGENT_DEBUG_TRACEBACK"] = "0";
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.exitStatus, 0);
    expectCrashAt(outcome.output, 1, "SigSEV @ (nil) ");
}

TEST(Crash, IsNotTraced) {
    ProbeSettings settings = crash("null-pointer");
    settings.traceLevel = 1023;
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.trace, joined({startUpTrace(), socketTrace()}));
}

// Both runs end in the same way: with the signal, unless something else watches over both.
void expectBareEnd(const ProbeSettings& settings) {
    const ProbeOutcome bare = runBare(settings);
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_NE(bare.exitStatus, 0);
    EXPECT_EQ(outcome.exitStatus, bare.exitStatus);
    EXPECT_EQ(outcome.output, bare.output);
}

TEST(Crash, WithoutTheVariableIsAsWithoutTheAgent) {
    for (const std::string scenario : {"null-pointer", "inside-symbol", "deep-stack"}) {
        ProbeSettings settings = quietProbe("crash", scenario);
        const ProbeOutcome outcome = runWithAgent(settings);
        EXPECT_EQ(outcome.exitStatus, runBare(settings).exitStatus);
        EXPECT_EQ(outcome.output, Lines{});
    }
}

TEST(Crash, BeforeTheFirstCallIsAsWithoutTheAgent) {
    expectBareEnd(crash("before-any-call"));
}

TEST(Crash, ByOtherSignalsIsAsWithoutTheAgent) {
    for (const std::string scenario : {"bus-error", "arithmetic", "abort"}) {
        expectBareEnd(crash(scenario));
    }
}

TEST(Crash, IsTheApplicationsWhereItSetsItsOwnHandler) {
    const ProbeOutcome outcome = runWithAgent(crash("own-handler"));
    EXPECT_EQ(outcome.exitStatus, 42);
    EXPECT_EQ(outcome.output, Lines{});
    expectBareEnd(crash("own-handler"));
}

}  // namespace

}  // namespace veltra::testing
