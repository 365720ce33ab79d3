#pragma once

#include <iostream>
#include <string>
#include <string_view>

namespace veltra {

// A line in which the launcher says something to its user.
inline std::string reportLine(std::string_view text) {
    return std::string("veltra-record: ").append(text).append("\n");
}

// Says it on standard error.
inline void report(std::string_view text) {
    std::cerr << reportLine(text) << std::flush;
}

}  // namespace veltra
