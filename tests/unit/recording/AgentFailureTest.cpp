#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "ScriptedSockets.h"
#include "base/heapObject.h"
#include "recording/AgentInterface.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using veltra::testing::TraceLog;

constexpr const char* socketCall = "socket(2, 1, 6)";
constexpr const char* connectCall = "connect(40, 2, 127.0.0.1:1092, 16)";
constexpr const char* sendCall = "send(40, \"<exit/>\\n\", 8, 0)";
constexpr const char* closeCall = "close(40)";

struct Error {
    int code;
    const char* text;
};

constexpr Error errors[] = {
    {11, "11 WSAEWOULDBLOCK : Resource temporarily unavailable"},
    {24, "24 ????? : unknown code"},
    {32, "32 ????? : unknown code"},
    {97, "97 WSAEAFNOSUPPORT : Address family not supported by protocol family"},
    {101, "101 WSAENETUNREACH : Network is unreachable"},
    {104, "104 WSAECONNRESET : Connection reset by peer"},
    {110, "110 WSAETIMEDOUT : Connection timed out"},
    {111, "111 WSAECONNREFUSED : Connection refused"},
};

class AgentFailure : public testing::TestWithParam<Error> {
protected:
    // Sends "exit"; errno must be afterwards what it was before.
    void sendExit() {
        for (const int before : {0, EAGAIN, 77}) {
            (void)sockets.takeCalls();
            (void)log.takeLines();
            RecorderMessage message(RecorderMessageKind::exit, 5);
            errno = before;
            recorder.sendAMessage(message);
            EXPECT_EQ(errno, before);
        }
    }
    auto traces(const char* call) const {
        return ElementsAre("[DATA ][5]<exit/>",
                           std::string("[ERROR]") + call + ", WSAGetLastError=" + GetParam().text);
    }

    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder{nullptr, nullptr, nullptr};
};

TEST_P(AgentFailure, OfSocket) {
    sockets.failSocket(GetParam().code);
    sendExit();
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall));
    EXPECT_THAT(log.takeLines(), traces("socket() returned INVALID_SOCKET"));
}

TEST_P(AgentFailure, OfConnect) {
    sockets.failConnect(GetParam().code);
    sendExit();
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall, connectCall, closeCall));
    EXPECT_THAT(log.takeLines(), traces("connect() returned SOCKET_ERROR"));
}

TEST_P(AgentFailure, OfSend) {
    sockets.failSend(GetParam().code);
    sendExit();
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall, connectCall, sendCall, closeCall));
    EXPECT_THAT(log.takeLines(), traces("send() returned SOCKET_ERROR"));
}

TEST_P(AgentFailure, OfCloseIsSilent) {
    sockets.failClose(GetParam().code);
    sendExit();
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall, connectCall, sendCall, closeCall));
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][5]<exit/>"));
}

INSTANTIATE_TEST_SUITE_P(Errors, AgentFailure, testing::ValuesIn(errors),
                         [](const auto& test) { return std::to_string(test.param.code); });

TEST(AgentFailures, SuccessLeavesErrnoAndNoTrace) {
    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder(nullptr, nullptr, nullptr);
    RecorderMessage message(RecorderMessageKind::exit, 5);
    errno = 77;
    recorder.sendAMessage(message);
    EXPECT_EQ(errno, 77);
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][5]<exit/>"));
}

TEST(AgentFailures, ShortCountLeavesNoTrace) {
    ScriptedSockets sockets;
    sockets.sendAtMost(3);
    TraceLog log;
    AgentInterface recorder(nullptr, nullptr, nullptr);
    RecorderMessage message(RecorderMessageKind::exit, 5);
    errno = 77;
    recorder.sendAMessage(message);
    EXPECT_EQ(errno, 77);
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][5]<exit/>"));
}

TEST(AgentFailures, TheNextMessageIsTriedAnew) {
    ScriptedSockets sockets;
    AgentInterface recorder(nullptr, nullptr, nullptr);
    sockets.failConnect(ECONNREFUSED);
    RecorderMessage lost(RecorderMessageKind::exit, 1);
    recorder.sendAMessage(lost);
    (void)sockets.takeCalls();
    sockets.failConnect(0);
    RecorderMessage next(RecorderMessageKind::exit, 2);
    recorder.sendAMessage(next);
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall, connectCall, sendCall, closeCall));
}

// A first message that cannot be delivered is lost like any other.
TEST(AgentFailures, TheFirstMessageIsNotRepeated) {
    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder(nullptr, nullptr,
                            makeOnHeap<RecorderMessage>(RecorderMessageKind::process, 1));
    sockets.failConnect(ECONNREFUSED);
    RecorderMessage message(RecorderMessageKind::exit, 2);
    errno = 77;
    recorder.sendAMessage(message);
    EXPECT_EQ(errno, 77);
    constexpr const char* refused =
        "[ERROR]connect() returned SOCKET_ERROR, WSAGetLastError=111 WSAECONNREFUSED : Connection "
        "refused";
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[DATA ][1]<process/>", refused, "[DATA ][2]<exit/>", refused));
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall, connectCall, closeCall, socketCall,
                                                 connectCall, closeCall));
    sockets.failConnect(0);
    RecorderMessage next(RecorderMessageKind::exit, 3);
    recorder.sendAMessage(next);
    EXPECT_THAT(sockets.takeCalls(), ElementsAre(socketCall, connectCall, sendCall, closeCall));
}

}  // namespace
