#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>

#include "ScriptedSockets.h"
#include "base/heapObject.h"
#include "recording/AgentInterface.h"
#include "support/MessageCollector.h"
#include "support/RealCalls.h"
#include "support/TraceLog.h"
#include "tools/TemporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using veltra::testing::MessageCollector;
using veltra::testing::TemporaryFolder;
using veltra::testing::TraceLog;

TEST(EndOfProcess, SendsExit) {
    ScriptedSockets sockets;
    TraceLog log;
    EXPECT_EQ(AgentInterface::emitEndOfProcess("10.0.0.9", "8080", 123456789012345LL), 0);
    EXPECT_THAT(sockets.takeCalls(),
                ElementsAre("socket(2, 1, 6)", "connect(40, 2, 10.0.0.9:8080, 16)",
                            "send(40, \"<exit/>\\n\", 8, 0)", "close(40)"));
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][0]<exit/>"));
}

TEST(EndOfProcess, HasTheSameDefaults) {
    ScriptedSockets sockets;
    EXPECT_EQ(AgentInterface::emitEndOfProcess(nullptr, nullptr, 0), 0);
    EXPECT_THAT(sockets.takeCalls(),
                ElementsAre("socket(2, 1, 6)", "connect(40, 2, 127.0.0.1:1092, 16)",
                            "send(40, \"<exit/>\\n\", 8, 0)", "close(40)"));
}

TEST(EndOfProcess, LeavesTheProcessWideInterfaceAlone) {
    ScriptedSockets sockets;
    {
        AgentInterface recorder("10.0.0.1", "1",
                                makeOnHeap<RecorderMessage>(RecorderMessageKind::process, 0));
        agentInterface.store(&recorder);
        EXPECT_EQ(AgentInterface::emitEndOfProcess(nullptr, nullptr, 0), 0);
        agentInterface.store(nullptr);
    }
    EXPECT_THAT(sockets.takeTexts(), ElementsAre("<exit/>\n"));
}

TEST(EndOfProcess, SucceedsWithoutARecorder) {
    ScriptedSockets sockets;
    sockets.failConnect(ECONNREFUSED);
    EXPECT_EQ(AgentInterface::emitEndOfProcess(nullptr, nullptr, 0), 0);
    EXPECT_THAT(sockets.takeTexts(), IsEmpty());
}

TEST(EndOfProcess, Arrives) {
    veltra::testing::useRealCalls();
    MessageCollector collector;
    EXPECT_EQ(
        AgentInterface::emitEndOfProcess("127.0.0.1", std::to_string(collector.port()).c_str(), 0),
        0);
    EXPECT_THAT(collector.takeAfterStop(), ElementsAre("<exit/>\n"));
}

// What the child must not come to: a socket opened, or the call returned.
int reportedSocket(int, int, int) {
    std::fputs("opened", stderr);
    return -1;
}

void endProcessReporting() {
    const veltra::testing::ReplacedCall socketCall(socket_ptr, &reportedSocket);
    AgentInterface::emitEndOfProcess(nullptr, nullptr, 0);
    std::fputs("returned", stderr);
    _exit(0);
}

TEST(EndOfProcess, RemovedWorkingDirectoryEndsTheProcess) {
    const TemporaryFolder folder;
    const std::filesystem::path gone = folder.path() / "gone";
    ASSERT_EQ(mkdir(gone.c_str(), 0700), 0);
    EXPECT_EXIT(
        {
            if (chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0) _exit(1);
            endProcessReporting();
        },
        ExitedWithCode(255), Not(testing::AnyOf(HasSubstr("opened"), HasSubstr("returned"))));
}

TEST(EndOfProcess, TooLongWorkingDirectoryEndsTheProcess) {
    const TemporaryFolder folder;
    const std::string name(250, 'd');
    EXPECT_EXIT(
        {
            if (chdir(folder.path().c_str()) != 0) _exit(1);
            for (int depth = 0; depth < 9; ++depth) {
                if (mkdir(name.c_str(), 0700) != 0 || chdir(name.c_str()) != 0) _exit(1);
            }
            endProcessReporting();
        },
        ExitedWithCode(255), Not(testing::AnyOf(HasSubstr("opened"), HasSubstr("returned"))));
}

}  // namespace
