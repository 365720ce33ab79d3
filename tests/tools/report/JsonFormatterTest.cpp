#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "RecordingText.h"
#include "recording/Formatter.h"
#include "recording/RecorderMessage.h"

namespace veltra::testing {

namespace {

using Json = nlohmann::ordered_json;
using Kind = RecorderMessageKind;
using Name = RecorderMessageAttribute;

std::string json(std::string_view recording) {
    return written(recording, *makeFormatter(RecordingFormat::json));
}

std::string fromBase64(const std::string& text) {
    std::string bytes;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text.substr(0, text.find('='))) {
        constexpr std::string_view digits =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        bits = bits << 6U | static_cast<unsigned>(digits.find(c));
        count += 6;
        if (count < 8) continue;
        count -= 8;
        bytes += static_cast<char>(bits >> count & 0xFFU);
    }
    return bytes;
}

// The bytes of an attribute, found as a reader of the format finds them.
std::string bytesOf(const Json& object, const std::string& name) {
    const auto exact = object.find(name + "_base64");
    return exact != object.end() ? fromBase64(*exact) : object.at(name).get<std::string>();
}

TEST(JsonFormatter, WritesAnObjectALine) {
    EXPECT_EQ(
        json("<connect localport_I4=\"e2f4\" pid_I4=\"11bc\" timestamp_I8=\"1a1fbf6cef9\""
             " socket_I8=\"6\" ip_AS=\"127.0.0.1\" port_I4=\"46a0\" error_I4=\"73\"/>\n"
             "<receive pid_I4=\"11bc\" socket_I8=\"6\" data_AS=\"\" length_I4=\"ffffffff\"/>\n"
             "<exit/>\n"),
        "{\"kind\":\"connect\",\"localport\":58100,\"pid\":4540,\"timestamp\":1795228618489,"
        "\"socket\":6,\"ip\":\"127.0.0.1\",\"port\":18080,\"error\":115}\n"
        "{\"kind\":\"receive\",\"pid\":4540,\"socket\":6,\"data\":\"\",\"length\":-1}\n"
        "{\"kind\":\"exit\"}\n");
}

TEST(JsonFormatter, AddsTheBytesOfWhatIsNoText) {
    EXPECT_EQ(json(R"(<send socket_I8="1" data_AS="a&#x22;\x0d\x00"/>)"),
              "{\"kind\":\"send\",\"socket\":1,\"data\":\"a\\\"\\r\\u0000\"}\n");
    EXPECT_EQ(json(R"(<send socket_I8="1" data_AS="\xc3\xa9"/>)"),
              "{\"kind\":\"send\",\"socket\":1,\"data\":\"\xC3\xA9\"}\n");
    EXPECT_EQ(json(R"(<send socket_I8="1" data_AS="a\xe9z"/>)"),
              "{\"kind\":\"send\",\"socket\":1,\"data\":\"a\xEF\xBF\xBDz\","
              "\"data_base64\":\"Yel6\"}\n");
    EXPECT_EQ(json(R"(<process workingdir_AS="/\xff"/>)"),
              "{\"kind\":\"process\",\"workingdir\":\"/\xEF\xBF\xBD\","
              "\"workingdir_base64\":\"L/8=\"}\n");
}

TEST(JsonFormatter, WritesWhatIsDamagedToo) {
    EXPECT_EQ(json("<exit/>\n<shut/>\n\xff"),
              "{\"kind\":\"exit\"}\n"
              "{\"kind\":\"damaged\",\"line\":2,\"column\":2,"
              "\"reason\":\"unknown kind of message \\\"shut\\\"\",\"text\":\"<shut/>\"}\n"
              "{\"kind\":\"damaged\",\"line\":3,\"column\":1,"
              "\"reason\":\"the line does not begin with \\\"<\\\"\",\"text\":\"\xEF\xBF\xBD\","
              "\"text_base64\":\"/w==\"}\n");
}

// From what an agent is given to what a reader of the JSON gets.
TEST(JsonFormatter, KeepsEveryFactOfAMessage) {
    const std::string bytes = everyByte();
    RecorderMessage message(Kind::send, 0);
    message.set(Name::timestampNs, 1795228618489123456LL);
    message.set(Name::timestamp, 1795228618489LL);
    message.setInt(Name::ticket, -5);
    message.setInt64(Name::socket, 6);
    message.set(Name::data, bytes.data(), static_cast<int>(bytes.size()));
    message.set(Name::length, 4294967295UL);
    message.set(Name::returnValue, -1);
    message.set(Name::error, 32);
    message.finish();

    const Json object = Json::parse(json(message.toString()));
    EXPECT_EQ(bytesOf(object, "data"), bytes);
    Json facts = object;
    facts.erase("data");
    facts.erase("data_base64");
    EXPECT_EQ(facts, Json({{"kind", "send"},
                           {"timestamp_ns", 1795228618489123456LL},
                           {"timestamp", 1795228618489LL},
                           {"ticket", -5},
                           {"socket", 6},
                           {"length", 4294967295LL},
                           {"error", 32}}));
}

TEST(JsonFormatter, KeepsEveryByteInEverySurrounding) {
    for (const char byte : everyByte()) {
        for (const std::string around : {"", "a", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xED"}) {
            const std::string bytes = around + byte + around + 'z';
            const std::string line =
                "<send socket_I8=\"1\" data_AS=\"" + escapedText(bytes) + "\"/>\n";
            ASSERT_EQ(bytesOf(Json::parse(json(line)), "data"), bytes);
        }
    }
}

}  // namespace

}  // namespace veltra::testing
