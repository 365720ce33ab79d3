#include <gtest/gtest.h>
#include <sys/uio.h>
#include <time.h>

#include <algorithm>
#include <limits>
#include <string>

#include "recording/RecorderMessage.h"

namespace {

using Attribute = RecorderMessageAttribute;

constexpr std::size_t mebibyte = 1024 * 1024;

// Every byte value, every width of escape.
std::string mixedPayload(std::size_t size) {
    std::string payload(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        payload[i] = static_cast<char>(i * 7 % 256);
    return payload;
}

std::string newlines(std::size_t size) {
    return std::string(size, '\n');
}

double secondsOfThisThread() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

using Fill = void (*)(RecorderMessage& message, std::string& payload);

double costOf(Fill fill, std::string& payload) {
    const double start = secondsOfThisThread();
    RecorderMessage message(RecorderMessageKind::send, 0);
    fill(message, payload);
    message.finish();
    return secondsOfThisThread() - start;
}

void fillInOnePiece(RecorderMessage& message, std::string& payload) {
    message.set(Attribute::data, payload.data(), static_cast<int>(payload.size()));
}

void fillScattered(RecorderMessage& message, std::string& payload) {
    const std::size_t third = payload.size() / 3;
    const iovec pieces[] = {{payload.data(), third},
                            {payload.data() + third, payload.size() - third}};
    message.setiovect(Attribute::data, pieces, 2, payload.size());
}

struct Way {
    const char* name;
    std::string (*payloadOf)(std::size_t size);
    Fill fill;
};

constexpr Way ways[] = {
    {"mixedInOnePiece", &mixedPayload, &fillInOnePiece},
    {"newlinesInOnePiece", &newlines, &fillInOnePiece},
    {"mixedScattered", &mixedPayload, &fillScattered},
};

class MessageCost : public testing::TestWithParam<Way> {};

// The best of several runs, taken in turns, so that a busy machine slows both down alike. The large
// one may be hit harder, because its text is in no cache; with the square of the payload it would
// cost sixteen times as much.
TEST_P(MessageCost, GrowsInProportionToThePayload) {
    std::string small = GetParam().payloadOf(4 * mebibyte);
    std::string large = GetParam().payloadOf(16 * mebibyte);
    double smallCost = std::numeric_limits<double>::max();
    double largeCost = smallCost;
    for (int run = 0; run < 5; ++run) {
        smallCost = std::min(smallCost, costOf(GetParam().fill, small));
        largeCost = std::min(largeCost, costOf(GetParam().fill, large));
    }
    EXPECT_LE(largeCost, 8 * smallCost);
}

INSTANTIATE_TEST_SUITE_P(All, MessageCost, testing::ValuesIn(ways),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
