#include <gtest/gtest.h>

#include "record/Counts.h"

namespace veltra::testing {

namespace {

TEST(Counts, AreOfEachKind) {
    Counts counts;
    EXPECT_EQ(counts.text(), "0 messages, 0 bytes, 0 connections");
    counts.add("x");
    EXPECT_EQ(counts.text(), "1 message, 1 byte, 0 connections");
    counts.add("<connect a/>\n");
    EXPECT_EQ(counts.text(), "2 messages, 14 bytes, 1 connection");
    counts.add("<accept a/>\n");
    counts.add("<connected a/>\n");
    EXPECT_EQ(counts.text(), "4 messages, 41 bytes, 2 connections");
}

}  // namespace

}  // namespace veltra::testing
