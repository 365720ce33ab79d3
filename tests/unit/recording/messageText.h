#pragma once

#include <gtest/gtest.h>

#include <string>

// The text of a PrintBuffer or RecorderMessage, whose terminating zero byte is checked.
template <typename Text>
std::string textOf(const Text& source) {
    EXPECT_EQ(source.toString()[source.length()], '\0');
    return {source.toString(), source.length()};
}
