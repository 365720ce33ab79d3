#include <gtest/gtest.h>

#include "messageText.h"
#include "recording/RecorderMessage.h"

namespace {

struct Kind {
    RecorderMessageKind kind;
    int value;
    const char* element;
};

constexpr Kind kinds[] = {
    {RecorderMessageKind::process, 0, "process"},
    {RecorderMessageKind::addrinfo, 1, "addrinfo"},
    {RecorderMessageKind::connect, 2, "connect"},
    {RecorderMessageKind::send, 3, "send"},
    {RecorderMessageKind::receive, 4, "receive"},
    {RecorderMessageKind::copyfile, 5, "copyfile"},
    {RecorderMessageKind::close, 6, "close"},
    {RecorderMessageKind::accept, 7, "accept"},
    {RecorderMessageKind::exit, 8, "exit"},
    {RecorderMessageKind::debug, 9, "debug"},
    {RecorderMessageKind::notrecorded, 10, "notrecorded"},
};

class MessageKind : public testing::TestWithParam<Kind> {};

TEST_P(MessageKind, NamesTheElement) {
    const Kind& expected = GetParam();
    EXPECT_EQ(static_cast<int>(expected.kind), expected.value);
    EXPECT_STREQ(MARKER_RMT[expected.value], expected.element);

    RecorderMessage message(expected.kind, 0);
    EXPECT_EQ(textOf(message), std::string("<") + expected.element);
    message.finish();
    EXPECT_EQ(textOf(message), std::string("<") + expected.element + "/>\n");
}

INSTANTIATE_TEST_SUITE_P(All, MessageKind, testing::ValuesIn(kinds),
                         [](const auto& test) { return std::string(test.param.element); });

struct Attribute {
    RecorderMessageAttribute attribute;
    int value;
    const char* name;
};

constexpr Attribute attributes[] = {
    {RecorderMessageAttribute::commandline, 0, "commandline"},
    {RecorderMessageAttribute::workingdir, 1, "workingdir"},
    {RecorderMessageAttribute::data, 2, "data"},
    {RecorderMessageAttribute::duration, 3, "duration"},
    {RecorderMessageAttribute::family, 4, "family"},
    {RecorderMessageAttribute::from, 5, "from"},
    {RecorderMessageAttribute::ip, 6, "ip"},
    {RecorderMessageAttribute::length, 7, "length"},
    {RecorderMessageAttribute::name, 8, "name"},
    {RecorderMessageAttribute::pid, 9, "pid"},
    {RecorderMessageAttribute::port, 10, "port"},
    {RecorderMessageAttribute::returnValue, 11, "return"},
    {RecorderMessageAttribute::socket, 12, "socket"},
    {RecorderMessageAttribute::ticket, 13, "ticket"},
    {RecorderMessageAttribute::timestamp, 14, "timestamp"},
    {RecorderMessageAttribute::to, 15, "to"},
    {RecorderMessageAttribute::error, 16, "error"},
    {RecorderMessageAttribute::info, 17, "info"},
    {RecorderMessageAttribute::durationNs, 18, "duration_ns"},
    {RecorderMessageAttribute::timestampNs, 19, "timestamp_ns"},
    {RecorderMessageAttribute::localport, 20, "localport"},
    {RecorderMessageAttribute::sockserror, 21, "sockserror"},
    {RecorderMessageAttribute::loopback, 22, "loopback"},
    {RecorderMessageAttribute::archi, 23, "archi"},
};

class MessageAttribute : public testing::TestWithParam<Attribute> {};

TEST_P(MessageAttribute, NamesTheValue) {
    const Attribute& expected = GetParam();
    EXPECT_EQ(static_cast<int>(expected.attribute), expected.value);
    EXPECT_STREQ(ATTRIBUTE_VELTRA[expected.value], expected.name);

    PrintBuffer buffer;
    buffer.appendAttr(expected.attribute, 7);
    EXPECT_EQ(textOf(buffer), std::string(" ") + expected.name + "_I4=\"7\"");
}

INSTANTIATE_TEST_SUITE_P(All, MessageAttribute, testing::ValuesIn(attributes),
                         [](const auto& test) { return std::string(test.param.name); });

struct Type {
    RecorderMessageAttributeType type;
    int value;
    const char* marker;
};

constexpr Type types[] = {
    {RecorderMessageAttributeType::signed32, 0, "I4"},
    {RecorderMessageAttributeType::unsigned32, 1, "U4"},
    {RecorderMessageAttributeType::signed64, 2, "I8"},
    {RecorderMessageAttributeType::bytes, 3, "AS"},
    {RecorderMessageAttributeType::wideText, 4, "UN"},
};

class MessageAttributeType : public testing::TestWithParam<Type> {};

TEST_P(MessageAttributeType, MarksTheName) {
    const Type& expected = GetParam();
    EXPECT_EQ(static_cast<int>(expected.type), expected.value);
    EXPECT_STREQ(MARKER_RMAT[expected.value], expected.marker);

    PrintBuffer buffer;
    buffer.startData(RecorderMessageAttribute::data, expected.type);
    EXPECT_EQ(textOf(buffer), std::string(" data_") + expected.marker + "=\"");
    buffer.endData();
    EXPECT_EQ(textOf(buffer), std::string(" data_") + expected.marker + "=\"\"");
}

INSTANTIATE_TEST_SUITE_P(All, MessageAttributeType, testing::ValuesIn(types),
                         [](const auto& test) { return std::string(test.param.marker); });

}  // namespace
