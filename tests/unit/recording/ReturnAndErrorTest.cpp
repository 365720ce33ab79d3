#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "messageText.h"
#include "recording/RecorderMessage.h"

namespace {

using Attribute = RecorderMessageAttribute;
using Message = RecorderMessage;

// One numeric setter, called with a number that fits all of them.
struct Setter {
    const char* name;
    const char* marker;
    void (*call)(Message& message, Attribute attribute, int value);
};

constexpr Setter ruledSetters[] = {
    {"setLongLong", "I8",
     [](Message& m, Attribute a, int v) { m.set(a, static_cast<long long>(v)); }},
    {"setInt64", "I8", [](Message& m, Attribute a, int v) { m.setInt64(a, v); }},
    {"setInt", "I4", [](Message& m, Attribute a, int v) { m.setInt(a, v); }},
    {"setWithInt", "I4", [](Message& m, Attribute a, int v) { m.set(a, v); }},
};

constexpr Setter plainSetters[] = {
    {"setUnsignedLong", "U4",
     [](Message& m, Attribute a, int v) { m.set(a, static_cast<unsigned long>(v)); }},
    {"setSizeT", "U4",
     [](Message& m, Attribute a, int v) { m.setSizeT(a, static_cast<unsigned long>(v)); }},
};

std::string nameOf(const testing::TestParamInfo<Setter>& test) {
    return test.param.name;
}

class RuledSetter : public testing::TestWithParam<Setter> {
protected:
    void set(Attribute attribute, int value) { GetParam().call(message, attribute, value); }
    std::string attribute(const char* name, const char* value) const {
        return std::string(" ") + name + "_" + GetParam().marker + "=\"" + value + "\"";
    }

    Message message{RecorderMessageKind::send, 0};
};

TEST_P(RuledSetter, WritesOtherAttributesAtOnce) {
    set(Attribute::ticket, 0x2a);
    EXPECT_EQ(textOf(message), "<send" + attribute("ticket", "2a"));
}

TEST_P(RuledSetter, NeverWritesReturn) {
    for (const int value : {0, 7, -1, -2}) {
        set(Attribute::returnValue, value);
    }
    EXPECT_EQ(textOf(message), "<send");
}

TEST_P(RuledSetter, WritesNoErrorBeforeAnyReturn) {
    set(Attribute::error, 4);
    EXPECT_EQ(textOf(message), "<send");
    set(Attribute::returnValue, -1);
    EXPECT_EQ(textOf(message), "<send");
}

TEST_P(RuledSetter, WritesErrorAfterReturnOfMinusOneOnly) {
    for (const int value : {0, 1, -2, 7}) {
        set(Attribute::returnValue, value);
        set(Attribute::error, 4);
        EXPECT_EQ(textOf(message), "<send") << value;
    }
    set(Attribute::returnValue, -1);
    set(Attribute::error, 4);
    EXPECT_EQ(textOf(message), "<send" + attribute("error", "4"));
}

TEST_P(RuledSetter, TheLastReturnCounts) {
    set(Attribute::returnValue, -1);
    set(Attribute::returnValue, 0);
    set(Attribute::error, 4);
    EXPECT_EQ(textOf(message), "<send");
}

TEST_P(RuledSetter, WritesErrorAgainAsOftenAsItIsSet) {
    set(Attribute::returnValue, -1);
    set(Attribute::error, 104);
    set(Attribute::error, 0);
    EXPECT_EQ(textOf(message), "<send" + attribute("error", "68") + attribute("error", "0"));
}

INSTANTIATE_TEST_SUITE_P(All, RuledSetter, testing::ValuesIn(ruledSetters), nameOf);

// Whatever setter "return" was given with, "error" has the marker of its own setter.
TEST(ReturnAndError, SettersMayBeMixed) {
    for (const Setter& first : ruledSetters) {
        for (const Setter& second : ruledSetters) {
            Message message(RecorderMessageKind::receive, 0);
            first.call(message, Attribute::returnValue, -1);
            second.call(message, Attribute::error, 104);
            EXPECT_EQ(textOf(message), std::string("<receive error_") + second.marker + "=\"68\"");
        }
    }
}

// 2^32 - 1 is no -1: all 64 bits of the value count.
TEST(ReturnAndError, ReturnIsComparedIn64Bits) {
    Message message(RecorderMessageKind::send, 0);
    message.set(Attribute::returnValue, 0xffffffffLL);
    message.setInt(Attribute::error, 4);
    EXPECT_EQ(textOf(message), "<send");
}

TEST(ReturnAndError, NegativeErrorsAreWritten) {
    Message message(RecorderMessageKind::send, 0);
    message.setInt(Attribute::returnValue, -1);
    message.setInt(Attribute::error, -1);
    message.setInt64(Attribute::error, -2);
    EXPECT_EQ(textOf(message), "<send error_I4=\"ffffffff\" error_I8=\"fffffffffffffffe\"");
}

class PlainSetter : public testing::TestWithParam<Setter> {};

TEST_P(PlainSetter, WritesReturnAndErrorLikeAnyOther) {
    Message message(RecorderMessageKind::send, 0);
    GetParam().call(message, Attribute::error, 4);
    GetParam().call(message, Attribute::returnValue, -1);
    GetParam().call(message, Attribute::length, 7);
    EXPECT_EQ(textOf(message), "<send error_U4=\"4\" return_U4=\"ffffffff\" length_U4=\"7\"");
    message.setInt(Attribute::error, 5);
    EXPECT_EQ(textOf(message), "<send error_U4=\"4\" return_U4=\"ffffffff\" length_U4=\"7\"");
}

INSTANTIATE_TEST_SUITE_P(All, PlainSetter, testing::ValuesIn(plainSetters), nameOf);

TEST(ReturnAndError, TextsAreAlwaysWritten) {
    char byte = 'x';
    const iovec piece = {&byte, 1};
    Message message(RecorderMessageKind::send, 0);
    message.set(Attribute::error, "e", 0);
    message.set(Attribute::returnValue, L"r", 0);
    message.setiovect(Attribute::error, &piece, 1, 1);
    EXPECT_EQ(textOf(message), "<send error_AS=\"e\" return_UN=\"r\" error_AS=\"x\"");
}

}  // namespace
