#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ScriptedSockets.h"
#include "base/heapObject.h"
#include "recording/AgentInterface.h"
#include "support/FailingMalloc.h"
#include "support/MessageCollector.h"
#include "support/RealCalls.h"
#include "support/SleepingThread.h"
#include "support/TraceLog.h"

namespace {

using Attribute = RecorderMessageAttribute;
using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::FailingMalloc;
using veltra::testing::MessageCollector;
using veltra::testing::SleepingThread;
using veltra::testing::TraceLog;

RecorderMessage* processMessage() {
    auto* const message = makeOnHeap<RecorderMessage>(RecorderMessageKind::process, 0);
    message->set(Attribute::pid, 4242);
    return message;
}

void sendSocket(AgentInterface& recorder, int number) {
    RecorderMessage message(RecorderMessageKind::close, number);
    message.setInt(Attribute::socket, number);
    recorder.sendAMessage(message);
}

// Leaves the switch as it was.
class Unplugged {
public:
    Unplugged() { agentInterfaceUnplugged.store(true); }
    ~Unplugged() { agentInterfaceUnplugged.store(false); }
};

TEST(FirstMessage, GoesBeforeTheFirstEventAndOnce) {
    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder(nullptr, nullptr, processMessage());
    EXPECT_THAT(sockets.takeCalls(), IsEmpty());
    sendSocket(recorder, 1);
    EXPECT_THAT(sockets.takeCalls(),
                ElementsAre("socket(2, 1, 6)", "connect(40, 2, 127.0.0.1:1092, 16)",
                            "send(40, \"<process pid_I4=\"1092\"/>\\n\", 25, 0)", "close(40)",
                            "socket(2, 1, 6)", "connect(40, 2, 127.0.0.1:1092, 16)",
                            "send(40, \"<close socket_I4=\"1\"/>\\n\", 23, 0)", "close(40)"));
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][0]<process pid_I4=\"1092\"/>",
                                             "[DATA ][1]<close socket_I4=\"1\"/>"));
    sendSocket(recorder, 2);
    EXPECT_THAT(sockets.takeCalls(),
                ElementsAre("socket(2, 1, 6)", "connect(40, 2, 127.0.0.1:1092, 16)",
                            "send(40, \"<close socket_I4=\"2\"/>\\n\", 23, 0)", "close(40)"));
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][2]<close socket_I4=\"2\"/>"));
}

TEST(FirstMessage, IsDiscardedUnsentWithTheInterface) {
    ScriptedSockets sockets;
    TraceLog log;
    { const AgentInterface recorder(nullptr, nullptr, processMessage()); }
    EXPECT_THAT(sockets.takeCalls(), IsEmpty());
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(FirstMessage, IsFinishedButNotSentWhileUnplugged) {
    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder(nullptr, nullptr, processMessage());
    {
        const Unplugged unplugged;
        sendSocket(recorder, 1);
        EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][0]<process pid_I4=\"1092\"/>",
                                                 "[DATA ][1]<close socket_I4=\"1\"/>"));
        sendSocket(recorder, 2);
        EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][2]<close socket_I4=\"2\"/>"));
        EXPECT_THAT(sockets.takeCalls(), IsEmpty());
    }
    sendSocket(recorder, 3);
    EXPECT_THAT(sockets.takeTexts(), ElementsAre("<close socket_I4=\"3\"/>\n"));
}

TEST(FirstMessage, UnpluggedInterfaceLeavesErrno) {
    ScriptedSockets sockets;
    const Unplugged unplugged;
    AgentInterface recorder(nullptr, nullptr, processMessage());
    errno = 77;
    sendSocket(recorder, 1);
    EXPECT_EQ(errno, 77);
}

// A message that got lost for want of memory has nothing to trace or send, and yet it waits.
TEST(FirstMessage, IsWaitedForWhileAnotherThreadSendsIt) {
    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder(nullptr, nullptr, processMessage());
    std::optional<FailingMalloc> shortage(std::in_place);
    RecorderMessage lost(RecorderMessageKind::exit, 0);
    shortage.reset();
    StartCriticalSectionBase(&criticalSectionLog);
    {
        const SleepingThread first([&] { sendSocket(recorder, 1); });
        const SleepingThread second([&] { recorder.sendAMessage(lost); });
        EXPECT_TRUE(first.isInside());
        EXPECT_TRUE(second.isInside());
        EndCriticalSectionBase(&criticalSectionLog);
    }
    EXPECT_THAT(sockets.takeTexts(),
                ElementsAre("<process pid_I4=\"1092\"/>\n", "<close socket_I4=\"1\"/>\n"));
}

constexpr int threadCount = 16;
constexpr int messagesOfThread = 20;

std::string textOfSocket(int number) {
    std::string digits;
    for (; number > 0; number /= 16) {
        digits.insert(digits.begin(), "0123456789abcdef"[number % 16]);
    }
    return "<close socket_I4=\"" + digits + "\"/>\n";
}

// Socket numbers of one thread: 100 * thread + 1 and so on, in this order.
void sendFromManyThreads(AgentInterface& recorder) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&recorder, thread] {
            for (int i = 1; i <= messagesOfThread; ++i)
                sendSocket(recorder, 100 * thread + i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

void expectFirstAndThenAll(const std::vector<std::string>& messages) {
    ASSERT_EQ(messages.size(), 1U + threadCount * messagesOfThread);
    EXPECT_EQ(messages[0], "<process pid_I4=\"1092\"/>\n");
    const std::multiset<std::string> rest(messages.begin() + 1, messages.end());
    for (int thread = 0; thread < threadCount; ++thread) {
        auto position = messages.begin() + 1;
        for (int i = 1; i <= messagesOfThread; ++i) {
            const std::string text = textOfSocket(100 * thread + i);
            EXPECT_EQ(rest.count(text), 1U) << text;
            position = std::find(position, messages.end(), text);
            EXPECT_NE(position, messages.end()) << "out of order: " << text;
        }
    }
}

TEST(FirstMessage, GoesBeforeTheEventsOfAllThreads) {
    ScriptedSockets sockets;
    AgentInterface recorder(nullptr, nullptr, processMessage());
    sendFromManyThreads(recorder);
    expectFirstAndThenAll(sockets.takeTexts());
    // One connection at a time: every message's four calls stand together.
    const std::vector<std::string> calls = sockets.takeCalls();
    ASSERT_EQ(calls.size(), 4 * (1U + threadCount * messagesOfThread));
    for (std::size_t i = 0; i < calls.size(); i += 4) {
        EXPECT_EQ(calls[i], "socket(2, 524289, 6)");
        EXPECT_EQ(calls[i + 1], "connect(40, 2, 127.0.0.1:1092, 16)");
        EXPECT_EQ(calls[i + 2].substr(0, 9), "send(40, ");
        EXPECT_EQ(calls[i + 3], "close(40)");
    }
}

TEST(FirstMessage, ArrivesBeforeTheEventsOfAllThreads) {
    veltra::testing::useRealCalls();
    MessageCollector collector;
    {
        AgentInterface recorder(nullptr, std::to_string(collector.port()).c_str(),
                                processMessage());
        sendFromManyThreads(recorder);
    }
    expectFirstAndThenAll(collector.takeAfterStop());
}

TEST(FirstMessage, LargeMessagesArriveWhole) {
    veltra::testing::useRealCalls();
    MessageCollector collector;
    const std::string payload(2000000, '\n');
    AgentInterface recorder("127.0.0.1", std::to_string(collector.port()).c_str(),
                            processMessage());
    RecorderMessage message(RecorderMessageKind::send, 0);
    message.set(Attribute::data, payload.data(), 2000000);
    recorder.sendAMessage(message);
    std::string expected = "<send data_AS=\"";
    for (int i = 0; i < 2000000; ++i)
        expected += "&#x0a;";
    EXPECT_TRUE(collector.waitForCount(2)[1] == expected + "\"/>\n");
}

TEST(FirstMessage, AbsentRecorderChangesNothing) {
    veltra::testing::useRealCalls();
    std::string port;
    {
        MessageCollector collector;
        port = std::to_string(collector.port());
    }
    TraceLog log;
    AgentInterface recorder(nullptr, port.c_str(), nullptr);
    errno = 77;
    sendSocket(recorder, 1);
    EXPECT_EQ(errno, 77);
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[DATA ][1]<close socket_I4=\"1\"/>",
                            "[ERROR]connect() returned SOCKET_ERROR, WSAGetLastError=111 "
                            "WSAECONNREFUSED : Connection refused"));
}

}  // namespace
