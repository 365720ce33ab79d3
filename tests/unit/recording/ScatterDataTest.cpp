#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "messageText.h"
#include "recording/RecorderMessage.h"

namespace {

using Attribute = RecorderMessageAttribute;

// A buffer array over texts of the test's own.
class Pieces {
public:
    explicit Pieces(std::vector<std::string> texts) : texts_(std::move(texts)) {
        for (std::string& text : texts_)
            pieces_.push_back({text.data(), text.size()});
    }
    const iovec* data() const { return pieces_.data(); }
    unsigned long count() const { return pieces_.size(); }

private:
    std::vector<std::string> texts_;
    std::vector<iovec> pieces_;
};

std::string written(const Pieces& pieces, unsigned long count, unsigned long limit) {
    RecorderMessage message(RecorderMessageKind::send, 0);
    message.setiovect(Attribute::data, pieces.data(), count, limit);
    return textOf(message);
}

std::string sendWith(const std::string& value) {
    return "<send data_AS=\"" + value + "\"";
}

TEST(ScatterData, JoinsTheBuffersUpToTheLimit) {
    const Pieces pieces({"ab", "cde", "f"});
    const char* const expected[] = {"", "a", "ab", "abc", "abcd", "abcde", "abcdef"};
    for (unsigned long limit = 0; limit <= 6; ++limit) {
        EXPECT_EQ(written(pieces, 3, limit), sendWith(expected[limit]));
    }
    EXPECT_EQ(written(pieces, 3, 7), sendWith("abcdef"));
    EXPECT_EQ(written(pieces, 3, 1000000), sendWith("abcdef"));
}

TEST(ScatterData, CountLimitsTheBuffers) {
    const Pieces pieces({"ab", "cde", "f"});
    EXPECT_EQ(written(pieces, 0, 6), sendWith(""));
    EXPECT_EQ(written(pieces, 1, 6), sendWith("ab"));
    EXPECT_EQ(written(pieces, 2, 6), sendWith("abcde"));
}

TEST(ScatterData, SkipsEmptyBuffers) {
    const Pieces pieces({"", "ab", "", "", "c", ""});
    EXPECT_EQ(written(pieces, pieces.count(), 3), sendWith("abc"));
    EXPECT_EQ(written(pieces, pieces.count(), 2), sendWith("ab"));
    EXPECT_EQ(written(Pieces({"", ""}), 2, 5), sendWith(""));
}

TEST(ScatterData, EscapesAndKeepsZeroBytes) {
    const Pieces pieces({std::string("a\0", 2), "<\n", "\\\x80"});
    EXPECT_EQ(written(pieces, 3, 6), sendWith("a\\x00&#x3c;&#x0a;\\\\\\x80"));
    EXPECT_EQ(written(pieces, 3, 3), sendWith("a\\x00&#x3c;"));
}

TEST(ScatterData, LimitCountsBytesBeforeEscaping) {
    const Pieces pieces({"\n\n\n\n"});
    EXPECT_EQ(written(pieces, 1, 2), sendWith("&#x0a;&#x0a;"));
}

TEST(ScatterData, NullBufferOfNoLength) {
    char last = 'z';
    const iovec pieces[] = {{nullptr, 0}, {&last, 1}};
    PrintBuffer buffer;
    buffer.appendAttr(Attribute::data, pieces, 2, 10);
    EXPECT_EQ(textOf(buffer), " data_AS=\"z\"");
}

// A receive call may have filled only the first of its buffers.
TEST(ScatterData, BuffersBehindTheLimitAreNotRead) {
    std::string text = "ab";
    const iovec pieces[] = {{text.data(), 2}, {nullptr, 1000}, {nullptr, 1}};
    PrintBuffer buffer;
    buffer.appendAttr(Attribute::data, pieces, 3, 2);
    EXPECT_EQ(textOf(buffer), " data_AS=\"ab\"");
    PrintBuffer none;
    none.appendAttr(Attribute::data, pieces + 1, 2, 0);
    EXPECT_EQ(textOf(none), " data_AS=\"\"");
}

TEST(ScatterData, NullArrayGivesNoAttribute) {
    RecorderMessage message(RecorderMessageKind::send, 0);
    for (const unsigned long number : {0UL, 1UL, 7UL}) {
        message.setiovect(Attribute::data, nullptr, number, 7);
        message.setiovect(Attribute::data, nullptr, 1, number);
    }
    EXPECT_EQ(textOf(message), "<send");
}

TEST(ScatterData, ManyBuffers) {
    const Pieces pieces(std::vector<std::string>(1024, "0123456789"));
    std::string expected;
    for (int i = 0; i < 1023; ++i)
        expected += "0123456789";
    EXPECT_EQ(written(pieces, 1024, 10235), sendWith(expected + "01234"));
}

}  // namespace
