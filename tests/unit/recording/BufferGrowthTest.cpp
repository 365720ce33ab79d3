#include <gtest/gtest.h>

#include <string>

#include "messageText.h"
#include "recording/PrintBuffer.h"

namespace {

using Attribute = RecorderMessageAttribute;

// Room as it grows when a text is appended piece by piece, each asking for its own length and the
// terminator.
class GrowthModel {
public:
    void append(unsigned long length) {
        const unsigned long need = used + length + 1 + 8;
        if (need >= capacity) capacity = need - need % 8192 + 8192;
        used += length;
    }
    // An attribute whose value is made of `count` pieces of `width` bytes.
    void appendDataAttribute(unsigned long count, unsigned long width) {
        append(10);  // the blank, name, marker, "=" and quote of the data attribute
        for (unsigned long i = 0; i < count; ++i)
            append(width);
        append(1);
    }

    unsigned long capacity = 8192;
    unsigned long used = 0;
};

TEST(BufferGrowth, StartsWith8192Bytes) {
    const PrintBuffer buffer;
    EXPECT_EQ(buffer.allocated(), 8192U);
    EXPECT_EQ(buffer.length(), 0U);
    EXPECT_EQ(textOf(buffer), "");
}

struct Expansion {
    unsigned long request;
    unsigned long capacity;
};

// Eight bytes of slack, and the next step strictly above the need.
constexpr Expansion expansions[] = {
    {0, 8192},      {1, 8192},      {8183, 8192},       {8184, 16384},      {8185, 16384},
    {16375, 16384}, {16376, 24576}, {16377, 24576},     {24567, 24576},     {24568, 32768},
    {81911, 81920}, {81912, 90112}, {1000000, 1007616}, {1048567, 1048576}, {1048568, 1056768},
};

TEST(BufferGrowth, ExpandsByTheRule) {
    for (const auto& [request, capacity] : expansions) {
        PrintBuffer buffer;
        buffer.expand(request);
        EXPECT_EQ(buffer.allocated(), capacity) << request;
        EXPECT_EQ(textOf(buffer), "");
    }
}

TEST(BufferGrowth, CountsWhatIsUsed) {
    PrintBuffer buffer;
    buffer.append("0123456789", 10);
    buffer.expand(8173);
    EXPECT_EQ(buffer.allocated(), 8192U);
    buffer.expand(8174);
    EXPECT_EQ(buffer.allocated(), 16384U);
    EXPECT_EQ(textOf(buffer), "0123456789");
}

TEST(BufferGrowth, NeverShrinks) {
    PrintBuffer buffer;
    buffer.expand(100000);
    EXPECT_EQ(buffer.allocated(), 106496U);
    buffer.expand(1);
    EXPECT_EQ(buffer.allocated(), 106496U);
}

constexpr Expansion appendedTexts[] = {
    {8182, 8192}, {8183, 16384}, {8200, 16384}, {16374, 16384}, {16375, 24576}, {20000, 24576},
};

TEST(BufferGrowth, AppendedTextsNeedOneByteMore) {
    for (const auto& [length, capacity] : appendedTexts) {
        const std::string text(length, 'x');
        PrintBuffer buffer;
        buffer.append(text.data(), text.size());
        EXPECT_EQ(buffer.allocated(), capacity) << length;
        EXPECT_EQ(textOf(buffer), text);
        PrintBuffer whole;
        whole.append(text.c_str(), 0);
        EXPECT_EQ(whole.allocated(), capacity) << length;
        EXPECT_EQ(textOf(whole), text);
    }
}

TEST(BufferGrowth, OneByteAtATime) {
    PrintBuffer buffer;
    GrowthModel model;
    for (int i = 0; i < 50000; ++i) {
        buffer.append("x", 1);
        model.append(1);
        ASSERT_EQ(buffer.allocated(), model.capacity) << i;
    }
    EXPECT_EQ(textOf(buffer), std::string(50000, 'x'));
}

TEST(BufferGrowth, EscapedBytesOneAtATime) {
    PrintBuffer buffer;
    GrowthModel model;
    for (int i = 0; i < 10000; ++i) {
        buffer.appendEscaped('\n');
        model.append(6);
        ASSERT_EQ(buffer.allocated(), model.capacity) << i;
        ASSERT_EQ(buffer.length(), model.used);
    }
}

struct Payload {
    const char* name;
    char byte;
    unsigned long width;
};

constexpr Payload payloads[] = {
    {"plain", 'x', 1}, {"backslash", '\\', 2}, {"unprintable", '\x80', 4}, {"reference", '\n', 6}};

class PayloadGrowth : public testing::TestWithParam<Payload> {
protected:
    // Lengths of payload around every step up to 48 KiB, and some large ones.
    template <typename Check>
    void forEachCount(Check&& check) {
        for (unsigned long step = 8192; step <= 49152; step += 8192) {
            const unsigned long middle = step / GetParam().width;
            for (unsigned long count = middle - 12; count <= middle + 3; ++count)
                check(count);
        }
        for (const unsigned long count : {0UL, 1UL, 8200UL, 20000UL, 1000000UL})
            check(count);
    }
};

TEST_P(PayloadGrowth, OneStepGivesTheRoomOfManySteps) {
    const Payload& kind = GetParam();
    forEachCount([&](unsigned long count) {
        const std::string payload(count, kind.byte);
        PrintBuffer buffer;
        // A count of 0 stands for the whole text.
        buffer.appendAttr(Attribute::data, payload.c_str(), count);
        GrowthModel model;
        model.appendDataAttribute(count, kind.width);
        EXPECT_EQ(buffer.allocated(), model.capacity) << count;
        EXPECT_EQ(buffer.length(), model.used) << count;
    });
}

TEST_P(PayloadGrowth, ScatteredPayloadsGrowTheSameWay) {
    const Payload& kind = GetParam();
    forEachCount([&](unsigned long count) {
        std::string payload(count, kind.byte);
        const unsigned long first = count / 3;
        const iovec pieces[] = {{payload.data(), first},
                                {nullptr, 0},
                                {payload.data() + first, count - first},
                                {payload.data(), count}};
        PrintBuffer buffer;
        buffer.appendAttr(Attribute::data, pieces, 4, count);
        GrowthModel model;
        model.appendDataAttribute(count, kind.width);
        EXPECT_EQ(buffer.allocated(), model.capacity) << count;
        EXPECT_EQ(buffer.length(), model.used) << count;
    });
}

INSTANTIATE_TEST_SUITE_P(All, PayloadGrowth, testing::ValuesIn(payloads),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(BufferGrowth, MixedPayloadBehindOtherAttributes) {
    std::string payload;
    for (int i = 0; i < 40000; ++i)
        payload += static_cast<char>(i % 256);
    PrintBuffer buffer;
    GrowthModel model;
    for (int i = 0; i < 300; ++i) {
        buffer.appendAttr(Attribute::socket, 7LL);
        model.append(sizeof(" socket_I8=\"") - 1);
        model.append(1);
        model.append(1);
    }
    buffer.appendAttr(Attribute::data, payload.data(), payload.size());
    model.append(10);
    for (const char byte : payload) {
        PrintBuffer one;
        one.appendEscaped(byte);
        model.append(one.length());
    }
    model.append(1);
    EXPECT_EQ(buffer.allocated(), model.capacity);
    EXPECT_EQ(buffer.length(), model.used);
}

TEST(BufferGrowth, TextOf8200BytesTakes16384) {
    const std::string payload(8200, 'x');
    PrintBuffer buffer;
    buffer.appendAttr(Attribute::data, payload.data(), payload.size());
    EXPECT_EQ(buffer.allocated(), 16384U);
    EXPECT_EQ(textOf(buffer), " data_AS=\"" + payload + "\"");
}

TEST(BufferGrowth, TwentyThousandNewlinesTakeMoreThan120000) {
    const std::string payload(20000, '\n');
    PrintBuffer buffer;
    buffer.appendAttr(Attribute::data, payload.data(), payload.size());
    EXPECT_EQ(buffer.allocated(), 122880U);
    std::string expected = " data_AS=\"";
    for (int i = 0; i < 20000; ++i)
        expected += "&#x0a;";
    EXPECT_EQ(textOf(buffer), expected + "\"");
}

TEST(BufferGrowth, WideTextsGrowTheBuffer) {
    const std::wstring text(5000, L'\x263A');
    PrintBuffer buffer;
    buffer.appendUnicode(text.data(), text.size());
    EXPECT_EQ(buffer.allocated(), 24576U);
    std::string expected;
    for (int i = 0; i < 5000; ++i)
        expected += "\\u3a";
    EXPECT_EQ(textOf(buffer), expected);
}

}  // namespace
