#include <gtest/gtest.h>

#include "recording/EventClock.h"
#include "recording/LineParser.h"

namespace veltra::testing {

namespace {

std::optional<std::int64_t> timeOf(EventClock& clock, std::string_view line) {
    Event event;
    EXPECT_FALSE(parseLine(line, event));
    return clock.timeOf(event);
}

TEST(EventClock, TakesMillisecondsWhereThereAreNoNanoseconds) {
    EventClock clock;
    EXPECT_EQ(timeOf(clock, R"(<debug timestamp_I8="1a1fbf6cef9"/>)"), 1795228618489000000);
    EXPECT_EQ(timeOf(clock, R"(<process timestamp_I4="0"/>)"), std::nullopt);
    EXPECT_EQ(timeOf(clock, "<exit/>"), std::nullopt);
}

TEST(EventClock, TakesNanosecondsThatCountFromTheSameEpoch) {
    EventClock clock;
    EXPECT_EQ(timeOf(clock, R"(<debug pid_I4="1" timestamp_ns_I8="3b9aca01" timestamp_I8="3e9"/>)"),
              1000000001);
    EXPECT_EQ(timeOf(clock, R"(<process pid_I4="1" timestamp_ns_I8="3b9aca00"/>)"), 1000000000);
}

TEST(EventClock, PlacesNanosecondsOfAnotherEpochByProcess) {
    EventClock clock;
    EXPECT_EQ(timeOf(clock, R"(<process pid_I4="1" timestamp_ns_I8="5" timestamp_I4="0"/>)"),
              std::nullopt);
    EXPECT_EQ(timeOf(clock, R"(<debug pid_I4="1" timestamp_ns_I8="7" timestamp_I8="7d0"/>)"),
              2000000000);
    EXPECT_EQ(timeOf(clock, R"(<debug pid_I4="1" timestamp_ns_I8="9" timestamp_I8="7d1"/>)"),
              2000000002);
    EXPECT_EQ(timeOf(clock, R"(<debug pid_I4="2" timestamp_ns_I8="7" timestamp_I8="bb8"/>)"),
              3000000000);
    EXPECT_EQ(timeOf(clock, R"(<debug pid_I4="1" timestamp_ns_I8="b" timestamp_I8="7d1"/>)"),
              2000000004);
}

TEST(EventClock, GivesNoTimeThatCannotBe) {
    EventClock clock;
    EXPECT_EQ(timeOf(clock, R"(<debug timestamp_I8="7fffffffffffffff"/>)"), std::nullopt);
    EXPECT_EQ(timeOf(clock, R"(<debug timestamp_I8="ffffffffffffffff"/>)"), std::nullopt);
    EXPECT_EQ(timeOf(clock, R"(<debug timestamp_ns_I8="8000000000000000" timestamp_I8="7d0"/>)"),
              2000000000);
    EXPECT_EQ(timeOf(clock, R"(<debug timestamp_ns_I8="5" timestamp_I8="7d0"/>)"), 2000000000);
    EXPECT_EQ(timeOf(clock, R"(<debug timestamp_ns_I8="7fffffffffffffff" timestamp_I8="7d0"/>)"),
              std::nullopt);
}

}  // namespace

}  // namespace veltra::testing
