#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "messageText.h"
#include "recording/RecorderMessage.h"
#include "support/TraceLog.h"

namespace {

using Attribute = RecorderMessageAttribute;
using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::TraceLog;

// A send on socket 7 that returned `result` with `error`.
void fill(RecorderMessage& message, int result, int error) {
    message.set(Attribute::timestampNs, 1700000000123456789LL);
    message.set(Attribute::timestamp, 1700000000123LL);
    message.setInt(Attribute::ticket, 5);
    message.setInt64(Attribute::socket, 7);
    message.set(Attribute::pid, 4242);
    message.set(Attribute::data, "GET /\r\n", 7);
    message.set(Attribute::length, 7UL);
    message.set(Attribute::returnValue, result);
    message.set(Attribute::error, error);
}

constexpr const char* sentWell =
    R"(<send timestamp_ns_I8="17979cfe3d85cd15" timestamp_I8="18bcfe5687b" ticket_I4="5" )"
    R"(socket_I8="7" pid_I4="1092" data_AS="GET /\x0d&#x0a;" length_U4="7"/>)";

constexpr const char* sentBadly =
    R"(<send timestamp_ns_I8="17979cfe3d85cd15" timestamp_I8="18bcfe5687b" ticket_I4="5" )"
    R"(socket_I8="7" pid_I4="1092" data_AS="GET /\x0d&#x0a;" length_U4="7" error_I4="68"/>)";

TEST(RecorderMessage, WholeSend) {
    TraceLog log;
    RecorderMessage message(static_cast<RecorderMessageKind>(3), 12);
    fill(message, 7, 0);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    message.finish();
    EXPECT_EQ(textOf(message), std::string(sentWell) + "\n");
    EXPECT_THAT(log.takeLines(), ElementsAre(std::string("[DATA ][12]") + sentWell));
}

TEST(RecorderMessage, WholeSendThatFailed) {
    TraceLog log;
    RecorderMessage message(RecorderMessageKind::send, 12);
    fill(message, -1, 104);
    message.finish();
    EXPECT_EQ(textOf(message), std::string(sentBadly) + "\n");
    EXPECT_THAT(log.takeLines(), ElementsAre(std::string("[DATA ][12]") + sentBadly));
}

TEST(RecorderMessage, ErrorOfACallThatSucceededIsNotWritten) {
    RecorderMessage message(RecorderMessageKind::send, 12);
    fill(message, 7, 104);
    message.finish();
    EXPECT_EQ(textOf(message), std::string(sentWell) + "\n");
}

TEST(RecorderMessage, WithoutAttributes) {
    TraceLog log;
    RecorderMessage message(RecorderMessageKind::exit, 0);
    message.finish();
    EXPECT_EQ(textOf(message), "<exit/>\n");
    EXPECT_EQ(message.length(), 8U);
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][0]<exit/>"));
}

TEST(RecorderMessage, CallNumberIsTracedAsASignedNumber) {
    TraceLog log;
    for (const int call : {INT_MAX, -1, INT_MIN}) {
        RecorderMessage(RecorderMessageKind::close, call).finish();
    }
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][2147483647]<close/>", "[DATA ][-1]<close/>",
                                             "[DATA ][-2147483648]<close/>"));
}

TEST(RecorderMessage, DisplayTracesTheTextAsItStands) {
    TraceLog log;
    RecorderMessage message(RecorderMessageKind::accept, 3);
    message.display();
    message.setInt(Attribute::port, 80);
    message.display();
    EXPECT_EQ(textOf(message), "<accept port_I4=\"50\"");
    EXPECT_THAT(log.takeLines(),
                ElementsAre("[DATA ][3]<accept", "[DATA ][3]<accept port_I4=\"50\""));
}

TEST(RecorderMessage, IsTracedAsDataOnly) {
    TraceLog log(1023 & ~(1 << 6));
    RecorderMessage(RecorderMessageKind::exit, 1).finish();
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(RecorderMessage, PercentSignsAreNoFormat) {
    TraceLog log;
    RecorderMessage message(RecorderMessageKind::send, 1);
    message.set(Attribute::data, "%s%n%d", 0);
    message.finish();
    EXPECT_EQ(textOf(message), "<send data_AS=\"%s%n%d\"/>\n");
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][1]<send data_AS=\"%s%n%d\"/>"));
}

TEST(RecorderMessage, LargeMessageIsTracedWhole) {
    TraceLog log(1 << 6);
    const std::string payload(100000, 'x');
    RecorderMessage message(RecorderMessageKind::receive, 1);
    message.set(Attribute::data, payload.data(), 100000);
    message.finish();
    EXPECT_EQ(textOf(message), "<receive data_AS=\"" + payload + "\"/>\n");
    EXPECT_THAT(log.takeLines(), ElementsAre("[DATA ][1]<receive data_AS=\"" + payload + "\"/>"));
}

}  // namespace
