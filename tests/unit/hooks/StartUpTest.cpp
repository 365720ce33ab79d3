#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

#include "base/heapObject.h"
#include "entry/sockentry.h"
#include "hooks/HookSocket.h"
#include "recording/AgentInterface.h"
#include "support/TraceLog.h"

namespace {

TEST(StartUp, KeepsTheErrorCodeAsItFoundIt) {
    errno = 77;
    GlobalInit();
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(globalInit, 1);
    EXPECT_EQ(socketInitialized, 1);
    EXPECT_FALSE(startUpPending);
}

TEST(StartUp, MakesTheInterfaceOnce) {
    GlobalInit();
    AgentInterface* const first = getAgentInterface();
    ASSERT_NE(first, nullptr);
    GlobalInit();
    initializeSocketPointers();
    EXPECT_EQ(getAgentInterface(), first);
}

TEST(StartUp, RunsItsSecondStageAgainAfterItWasCleaned) {
    GlobalInit();
    AgentInterface* const first = getAgentInterface();
    cleanSocketPointers();
    EXPECT_EQ(socketInitialized, 0);
    initializeSocketPointers();
    EXPECT_EQ(socketInitialized, 1);
    EXPECT_NE(getAgentInterface(), first);
    destroyOnHeap(first);  // which the agent leaves behind
}

TEST(StartUp, ResolvesTheRealFunctionsAndTheErrorShims) {
    GlobalInit();
    EXPECT_NE(socket_ptr.load(), nullptr);
    EXPECT_NE(gethostbyname_ptr.load(), nullptr);
    EXPECT_NE(inet_ntoa_ptr.load(), nullptr);
    EXPECT_EQ(WSAGetLastError_ptr.load(), &WSAGetLastError);
    EXPECT_EQ(WSASetLastError_ptr.load(), &WSASetLastError);
}

TEST(StartUp, LeavesAloneWhatNobodyAsksItToResolve) {
    GlobalInit();
    EXPECT_EQ(read_ptr.load(), nullptr);
    EXPECT_EQ(write_ptr.load(), nullptr);
    EXPECT_EQ(pselect_ptr.load(), nullptr);
}

TEST(StartUp, IsNotRunWhereSomebodyHasSetItsFlag) {
    globalInit = 1;
    prepareCall();
    EXPECT_EQ(getAgentInterface(), nullptr);
}

TEST(OptionalHooks, AnswerFromTheEnvironmentOnceForAll) {
    unsetenv("VELTRA_SOCKET_AGENT_OPT_HOOK");
    setenv("VELTRA_SOCKET_AGENT_OPT_HOOK_2", "", 1);
    EXPECT_FALSE(isOptionalSocketHook());
    EXPECT_TRUE(isOptionalSocketHook2());
    setenv("VELTRA_SOCKET_AGENT_OPT_HOOK", "1", 1);
    unsetenv("VELTRA_SOCKET_AGENT_OPT_HOOK_2");
    EXPECT_FALSE(isOptionalSocketHook());
    EXPECT_TRUE(isOptionalSocketHook2());
}

}  // namespace
