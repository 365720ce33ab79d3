#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ScriptedSockets.h"
#include "base/heapObject.h"
#include "messageText.h"
#include "recording/AgentInterface.h"
#include "support/FailingMalloc.h"

namespace {

using Attribute = RecorderMessageAttribute;
using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::FailingMalloc;

const std::string largePayload(20000, 'x');

TEST(MemoryShortage, BufferThatCannotBeMade) {
    const FailingMalloc shortage;
    PrintBuffer buffer;
    EXPECT_EQ(buffer.allocated(), 0U);
    buffer.append("text", 0);
    buffer.append(1LL);
    buffer.appendEscaped('x');
    buffer.appendUnicode(L"text", 0);
    buffer.appendAttr(Attribute::data, largePayload.data(), largePayload.size());
    EXPECT_EQ(textOf(buffer), "");
}

TEST(MemoryShortage, BufferThatCannotGrow) {
    PrintBuffer buffer;
    buffer.append("kept so far", 0);
    const FailingMalloc shortage;
    buffer.appendAttr(Attribute::data, largePayload.data(), largePayload.size());
    EXPECT_EQ(textOf(buffer), "");
    EXPECT_EQ(buffer.allocated(), 0U);
    buffer.append("later", 0);
    EXPECT_EQ(textOf(buffer), "");
}

TEST(MemoryShortage, GivenUpTextStaysGivenUp) {
    PrintBuffer buffer;
    {
        const FailingMalloc shortage;
        buffer.expand(8184);
    }
    buffer.append("later", 0);
    EXPECT_EQ(textOf(buffer), "");
}

// Every way of growing, each in the middle of a message.
TEST(MemoryShortage, EverySetterSurvives) {
    std::string payload = largePayload;
    const iovec piece = {payload.data(), payload.size()};
    const std::wstring wide(20000, L'\x263A');
    for (int setter = 0; setter < 3; ++setter) {
        RecorderMessage message(RecorderMessageKind::send, 1);
        const FailingMalloc shortage;
        if (setter == 0) message.set(Attribute::data, payload.data(), 20000);
        if (setter == 1) message.set(Attribute::data, wide.data(), 20000);
        if (setter == 2) message.setiovect(Attribute::data, &piece, 1, 20000);
        message.set(Attribute::socket, 7LL);
        message.setInt(Attribute::ticket, 7);
        message.setSizeT(Attribute::length, 7);
        message.finish();
        EXPECT_EQ(textOf(message), "") << setter;
    }
}

TEST(MemoryShortage, MessageThatCannotBeMade) {
    std::string payload = "data";
    const iovec piece = {payload.data(), payload.size()};
    const FailingMalloc shortage;
    RecorderMessage message(RecorderMessageKind::send, 1);
    message.set(Attribute::socket, 7LL);
    message.setInt64(Attribute::socket, 7);
    message.setInt(Attribute::returnValue, -1);
    message.set(Attribute::error, 4);
    message.set(Attribute::length, 7UL);
    message.setSizeT(Attribute::length, 7);
    message.set(Attribute::data, "text", 0);
    message.set(Attribute::data, L"text", 0);
    message.setiovect(Attribute::data, &piece, 1, 4);
    message.display();
    message.finish();
    EXPECT_EQ(textOf(message), "");
}

TEST(MemoryShortage, LostMessageOpensNoConnection) {
    ScriptedSockets sockets;
    AgentInterface recorder(nullptr, nullptr, nullptr);
    {
        const FailingMalloc shortage;
        RecorderMessage message(RecorderMessageKind::send, 1);
        recorder.sendAMessage(message);
    }
    EXPECT_THAT(sockets.takeCalls(), IsEmpty());
    RecorderMessage next(RecorderMessageKind::exit, 1);
    recorder.sendAMessage(next);
    EXPECT_THAT(sockets.takeCalls(),
                ElementsAre("socket(2, 1, 6)", "connect(40, 2, 127.0.0.1:1092, 16)",
                            "send(40, \"<exit/>\\n\", 8, 0)", "close(40)"));
}

TEST(MemoryShortage, LostFirstMessageDoesNotHoldUpTheNext) {
    ScriptedSockets sockets;
    auto* const first = makeOnHeap<RecorderMessage>(RecorderMessageKind::process, 0);
    {
        const FailingMalloc shortage;
        first->set(Attribute::data, largePayload.data(), 20000);
    }
    AgentInterface recorder(nullptr, nullptr, first);
    RecorderMessage next(RecorderMessageKind::exit, 1);
    recorder.sendAMessage(next);
    EXPECT_THAT(sockets.takeCalls(),
                ElementsAre("socket(2, 1, 6)", "connect(40, 2, 127.0.0.1:1092, 16)",
                            "send(40, \"<exit/>\\n\", 8, 0)", "close(40)"));
}

}  // namespace
