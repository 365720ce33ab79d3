#include <gtest/gtest.h>

#include "RecordingText.h"
#include "recording/LineParser.h"

namespace veltra::testing {

namespace {

using Kind = RecorderMessageKind;
using Name = RecorderMessageAttribute;

Event parsed(std::string_view line) {
    Event event;
    const auto damage = parseLine(line, event);
    EXPECT_FALSE(damage) << damage->column << ": " << damage->reason << ": " << line;
    return event;
}

TEST(LineParser, ReadsAWholeMessage) {
    const Event event = parsed(
        R"(<connect timestamp_ns_I8="1f" localport_I4="e2f4" pid_I4="11bc" timestamp_I8="1a1fbf6cef9")"
        R"( ticket_I4="6" socket_I8="7" duration_I4="2" duration_ns_I8="1e8480" family_AS="AF_INET")"
        R"( ip_AS="127.0.0.1" port_I4="46a0" error_I4="73"/>)");
    EXPECT_EQ(event.kind, Kind::connect);
    EXPECT_EQ(event.attributes().size(), 12U);
    EXPECT_EQ(event.attributes().front().name, Name::timestampNs);
    EXPECT_EQ(event.attributes().back().name, Name::error);
    EXPECT_EQ(event.nanoseconds(), 31);
    EXPECT_EQ(event.process(), 4540);
    EXPECT_EQ(event.milliseconds(), 1795228618489);
    EXPECT_EQ(event.socket(), 7);
    EXPECT_EQ(event.number(Name::localport), 58100);
    EXPECT_EQ(event.number(Name::ticket), 6);
    EXPECT_EQ(event.number(Name::duration), 2);
    EXPECT_EQ(event.number(Name::durationNs), 2000000);
    EXPECT_EQ(event.number(Name::port), 18080);
    EXPECT_EQ(event.error(), 115);
    EXPECT_EQ(*event.bytes(Name::family), "AF_INET");
    EXPECT_EQ(*event.bytes(Name::ip), "127.0.0.1");
    EXPECT_EQ(event.number(Name::length), std::nullopt);
    EXPECT_EQ(event.bytes(Name::data), nullptr);
}

TEST(LineParser, ReadsEveryKindAndNothingButItsName) {
    for (int kind = 0; kind <= static_cast<int>(Kind::notrecorded); ++kind) {
        const auto expected = static_cast<Kind>(kind);
        const std::string line = '<' + std::string(kindName(expected)) + R"( socket_I8="1"/>)";
        EXPECT_EQ(parsed(line).kind, expected);
    }
    EXPECT_EQ(parsed("<exit/>").kind, Kind::exit);
    EXPECT_TRUE(parsed("<exit/>").attributes().empty());
}

TEST(LineParser, ReadsNumbersOfEveryType) {
    struct Number {
        const char* attribute;
        Name name;
        std::int64_t value;
    };
    const Number numbers[] = {
        {R"(error_I4="0")", Name::error, 0},
        {R"(error_I4="7fffffff")", Name::error, 2147483647},
        {R"(error_I4="80000000")", Name::error, -2147483648LL},
        {R"(length_I4="ffffffff")", Name::length, -1},
        {R"(length_U4="ffffffff")", Name::length, 4294967295},
        {R"(from_I8="ffffffffffffffff")", Name::from, -1},
        {R"(from_I8="7fffffffffffffff")", Name::from, INT64_MAX},
        {R"(from_I8="8000000000000000")", Name::from, INT64_MIN},
        {R"(from_I8="ffffffff")", Name::from, 4294967295},
    };
    for (const Number& number : numbers) {
        const Event event = parsed("<debug " + std::string(number.attribute) + "/>");
        EXPECT_EQ(event.number(number.name), number.value) << number.attribute;
    }
}

TEST(LineParser, ReadsEveryByte) {
    const Event event = parsed("<send socket_I8=\"1\" data_AS=\"" + escapedText(everyByte()) +
                               "\" length_U4=\"100\"/>");
    EXPECT_EQ(*event.bytes(Name::data), everyByte());
    EXPECT_EQ(event.payload(), everyByte());
}

TEST(LineParser, ReadsWideText) {
    EXPECT_EQ(*parsed(R"(<debug info_UN="a\\\xe9&#x3c;\u41z"/>)").bytes(Name::info),
              "a\\\xC3\xA9<\xEF\xBF\xBDz");
}

TEST(LineParser, ForgetsTheLineBefore) {
    Event event;
    EXPECT_FALSE(parseLine(R"(<send socket_I8="1" data_AS="old" error_I4="1"/>)", event));
    EXPECT_FALSE(parseLine(R"(<receive socket_I8="2" length_I4="0"/>)", event));
    EXPECT_EQ(event.kind, Kind::receive);
    EXPECT_EQ(event.attributes().size(), 2U);
    EXPECT_EQ(event.bytes(Name::data), nullptr);
    EXPECT_EQ(event.error(), std::nullopt);
}

TEST(Event, HasOnlyThePayloadThatWentOverTheConnection) {
    EXPECT_EQ(parsed(R"(<send socket_I8="1" data_AS="all" length_U4="3"/>)").payload(), "all");
    EXPECT_EQ(parsed(R"(<send socket_I8="1" data_AS="all" length_U4="3" error_I4="b"/>)").payload(),
              "");
    EXPECT_EQ(parsed(R"(<receive socket_I8="1" data_AS="all" length_I4="3"/>)").payload(), "all");
    EXPECT_EQ(parsed(R"(<receive socket_I8="1" data_AS="old" length_I4="0"/>)").payload(), "");
    EXPECT_EQ(parsed(R"(<receive socket_I8="1" data_AS="old" length_I4="ffffffff" error_I4="68"/>)")
                  .payload(),
              "");
    EXPECT_EQ(parsed(R"(<close socket_I8="1"/>)").payload(), "");
}

TEST(Event, KnowsTheEndOfTheStream) {
    EXPECT_TRUE(parsed(R"(<receive socket_I8="1" length_I4="0"/>)").isEndOfStream());
    EXPECT_FALSE(parsed(R"(<receive socket_I8="1" length_I4="1"/>)").isEndOfStream());
    EXPECT_FALSE(parsed(R"(<send socket_I8="1" length_U4="0"/>)").isEndOfStream());
}

TEST(Event, TakesTheTimeZeroForNone) {
    EXPECT_EQ(parsed(R"(<process timestamp_I4="0"/>)").milliseconds(), std::nullopt);
    EXPECT_EQ(parsed(R"(<debug timestamp_I8="1"/>)").milliseconds(), 1);
}

struct DamagedLine {
    std::string line;
    std::size_t column;
    const char* reason;
};

class DamagedLineTest : public ::testing::TestWithParam<DamagedLine> {};

TEST_P(DamagedLineTest, IsToldWithColumnAndReason) {
    Event event;
    const auto damage = parseLine(GetParam().line, event);
    ASSERT_TRUE(damage);
    EXPECT_EQ(damage->column, GetParam().column);
    EXPECT_EQ(damage->reason, GetParam().reason);
}

const DamagedLine damagedLines[] = {
    {"", 1, "the line is empty"},
    {"hello", 1, "the line does not begin with \"<\""},
    {std::string("\x7f\x45\x4c\x46\0", 5), 1, "the line does not begin with \"<\""},
    {"<", 2, "the line is cut off"},
    {"<sen", 5, "the line is cut off"},
    {"<exit", 6, "the line is cut off"},
    {"<exit/", 7, "the line is cut off"},
    {"<exit /", 7, "unknown attribute \"\""},
    {"<exit ", 7, "the line is cut off"},
    {"<close socket_I8", 17, "the line is cut off"},
    {"<close socket_I8=", 18, "the line is cut off"},
    {"<close socket_I8=\"", 19, "the line is cut off"},
    {"<close socket_I8=\"6", 20, "the line is cut off"},
    {"<close socket_I8=\"6\"", 21, "the line is cut off"},
    {"<send socket_I8=\"6\" data_AS=\"ab", 32, "the line is cut off"},
    {"<send socket_I8=\"6\" data_AS=\"ab\\", 33, "the line is cut off"},
    {"<send socket_I8=\"6\" data_AS=\"ab\\x0", 35, "the line is cut off"},
    {"<send socket_I8=\"6\" data_AS=\"ab&#x0a", 37, "the line is cut off"},
    {"<closed socket_I8=\"6\"/>", 2, "unknown kind of message \"closed\""},
    {"<\x1b[31m/>", 2, "unknown kind of message \"\\x1b[31m\""},
    {"</>", 2, "unknown kind of message \"\""},
    {"<" + std::string(50, 'k') + "/>", 2,
     "unknown kind of message \"kkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkk...\""},
    {"<close colour_I4=\"6\"/>", 8, "unknown attribute \"colour_I4\""},
    {"<close socket=\"6\"/>", 8, "unknown type of attribute \"socket\""},
    {"<close socket_I9=\"6\"/>", 8, "unknown type of attribute \"socket_I9\""},
    {"<close socket_AS=\"6\"/>", 8, "wrong type of attribute \"socket_AS\""},
    {"<send socket_I8=\"6\" data_I4=\"6\"/>", 21, "wrong type of attribute \"data_I4\""},
    {"<close socket_I8=\"6\" socket_I8=\"6\"/>", 22, "second attribute \"socket_I8\""},
    {"<close  socket_I8=\"6\"/>", 8, "unknown attribute \"\""},
    {"<close socket_I8='6'/>", 18, "expected \"\"\", found \"'\""},
    {"<close socket_I8=\"6\"\tpid_I4=\"1\"/>", 21, "expected \"/\", found \"\\t\""},
    {"<close socket_I8=\"6\" />", 22, "unknown attribute \"\""},
    {"<close socket_I8=\"6\"/>x", 23, "something follows the message's end"},
    {"<close socket_I8=\"6\"/>\r", 23, "something follows the message's end"},
    {"<close socket_I8=\"\"/>", 19, "the number is missing"},
    {"<close socket_I8=\"6g\"/>", 20, "\"g\" is no hexadecimal digit"},
    {"<close socket_I8=\"A\"/>", 19, "\"A\" is no hexadecimal digit"},
    {"<close socket_I8=\"-1\"/>", 19, "\"-\" is no hexadecimal digit"},
    {"<close socket_I8=\"06\"/>", 19, "the number begins with a zero"},
    {"<close socket_I8=\"10000000000000000\"/>", 35, "the number is too long"},
    {"<close pid_I4=\"100000000\"/>", 24, "the number is too long"},
    {"<debug info_AS=\"a\tb\"/>", 18, "byte 0x09 is not escaped"},
    {"<debug info_AS=\"a<b\"/>", 18, "byte 0x3c is not escaped"},
    {"<debug info_AS=\"a\xff\"/>", 18, "byte 0xff is not escaped"},
    {std::string("<debug info_AS=\"a\0\"/>", 21), 18, "byte 0x00 is not escaped"},
    {R"(<debug info_AS="a\q"/>)", 18, "unknown escape \"\\\\q\""},
    {R"(<debug info_AS="a\xg0"/>)", 20, "\"g\" is no hexadecimal digit"},
    {R"(<debug info_AS="a\x0"/>)", 21, "\"\"\" is no hexadecimal digit"},
    {R"(<debug info_AS="a\x41"/>)", 18, "wrong escape \"\\\\x41\""},
    {R"(<debug info_AS="a\x0a"/>)", 18, "wrong escape \"\\\\x0a\""},
    {R"(<debug info_AS="a&#x0d;"/>)", 18, "wrong escape \"&#x0d;\""},
    {R"(<debug info_AS="a&amp;"/>)", 19, "expected \"#\", found \"a\""},
    {R"(<debug info_AS="a&#x3c"/>)", 23, "expected \";\", found \"\"\""},
    {R"(<debug info_AS="a\u41"/>)", 18, "unknown escape \"\\\\u\""},
    {R"(<debug info_UN="a\u4"/>)", 21, "\"\"\" is no hexadecimal digit"},
    {"<connect pid_I4=\"1\"/>", 20, "the socket is missing"},
    {"<accept pid_I4=\"1\"/>", 19, "the socket is missing"},
    {"<send pid_I4=\"1\"/>", 17, "the socket is missing"},
    {"<receive pid_I4=\"1\"/>", 20, "the socket is missing"},
    {"<close/>", 7, "the socket is missing"},
};

INSTANTIATE_TEST_SUITE_P(Each, DamagedLineTest, ::testing::ValuesIn(damagedLines));

}  // namespace

}  // namespace veltra::testing
