#include <gtest/gtest.h>
#include <sys/mman.h>

#include <random>
#include <string>
#include <vector>

#include "recording/escaping.h"
#include "recording/escapingKernels.h"

namespace {

struct Way {
    const char* name;
    unsigned long (*length)(const char* bytes, unsigned long count);
    char* (*write)(char* out, const char* limit, const char* bytes, unsigned long count);
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

// Those that this processor knows.
std::vector<Way> ways() {
    std::vector<Way> known = {{"Chosen", &escapedLength, &writeEscaped},
                              {"Portable", &escapedLengthPortable, &writeEscapedPortable}};
    if (canEscapeByVectors())
        known.push_back({"Vectors", &escapedLengthByVectors, &writeEscapedByVectors});
    return known;
}

class EscapingWays : public ::testing::TestWithParam<Way> {
protected:
    void SetUp() override { chooseEscaping(); }
};

std::string escapedByteByByte(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes)
        text.append(escaped(byte).text, escaped(byte).length);
    return text;
}

constexpr char untouched = '\x01';

struct Written {
    std::string text;
    std::string behindLimit;  // what may not be overwritten any more
};

Written written(const Way& way, const std::string& bytes, std::size_t limit) {
    constexpr std::size_t room = 256;
    std::string out(limit + escapingOverrun + room, untouched);
    const char* const end = way.write(out.data(), out.data() + limit, bytes.data(), bytes.size());
    return {out.substr(0, static_cast<std::size_t>(end - out.data())),
            out.substr(limit + escapingOverrun)};
}

void expectEscaped(const Way& way, const std::string& bytes) {
    const std::string expected = escapedByteByByte(bytes);
    ASSERT_EQ(way.length(bytes.data(), bytes.size()), expected.size());
    const Written result = written(way, bytes, expected.size());
    ASSERT_EQ(result.text, expected);
    ASSERT_EQ(result.behindLimit, std::string(result.behindLimit.size(), untouched));
}

TEST_P(EscapingWays, EveryByteInEveryPlace) {
    for (int value = 0; value < 256; ++value) {
        for (std::size_t place = 0; place < 80; ++place) {
            std::string bytes(400, 'a');
            bytes[place] = static_cast<char>(value);
            ASSERT_NO_FATAL_FAILURE(expectEscaped(GetParam(), bytes))
                << "byte " << value << " in place " << place;
        }
    }
}

TEST_P(EscapingWays, EveryLengthOfEveryKindOfBytes) {
    for (const std::string kind : {"x", "\n", "\\", "\x80", "\xFF", "\x7F", "a\"", "<&\t\r "}) {
        std::string bytes;
        for (std::size_t length = 0; length <= 300; ++length) {
            ASSERT_NO_FATAL_FAILURE(expectEscaped(GetParam(), bytes))
                << length << " bytes like " << testing::PrintToString(kind);
            bytes += kind[length % kind.size()];
        }
    }
}

TEST_P(EscapingWays, EscapesAsDenseAsCanBeAndAsRare) {
    std::mt19937 generator(20);
    for (unsigned oneIn = 1; oneIn <= 64; oneIn *= 2) {
        for (int round = 0; round < 50; ++round) {
            std::string bytes(generator() % 2000, 'z');
            for (char& byte : bytes) {
                if (generator() % oneIn == 0) byte = static_cast<char>(generator() & 0xFF);
            }
            ASSERT_NO_FATAL_FAILURE(expectEscaped(GetParam(), bytes)) << "one in " << oneIn;
        }
    }
}

// As when another thread puts in longer ones after the bytes were counted.
TEST_P(EscapingWays, StopsBeforeTheFirstFormThatDoesNotFit) {
    std::string bytes;
    for (int i = 0; i < 40; ++i)
        bytes += "plain text\n\\ and \x80 so on\t";
    std::string expected;
    std::size_t next = 0;
    const std::size_t whole = escapedByteByByte(bytes).size();
    for (std::size_t limit = 0; limit < whole; ++limit) {
        while (expected.size() + escaped(bytes[next]).length <= limit) {
            expected += escapedByteByByte(bytes.substr(next, 1));
            ++next;
        }
        const Written result = written(GetParam(), bytes, limit);
        ASSERT_EQ(result.text, expected) << "limit " << limit;
        ASSERT_EQ(result.behindLimit, std::string(result.behindLimit.size(), untouched));
    }
}

TEST_P(EscapingWays, ReadsNothingBehindTheBytes) {
    constexpr std::size_t page = 4096;
    void* const pages =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char* const end = static_cast<char*>(pages) + page;
    ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
    std::fill(end - page, end, '\n');
    std::string out(6 * page, untouched);
    for (unsigned long count = 0; count <= 300; ++count) {
        const char* const bytes = end - count;
        EXPECT_EQ(GetParam().length(bytes, count), 6 * count);
        EXPECT_EQ(GetParam().write(out.data(), out.data() + out.size() - page, bytes, count),
                  out.data() + 6 * count);
    }
    munmap(pages, 2 * page);
}

INSTANTIATE_TEST_SUITE_P(All, EscapingWays, ::testing::ValuesIn(ways()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
