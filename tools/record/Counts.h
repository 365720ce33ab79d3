#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veltra {

// How much has been recorded.
struct Counts {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;  // of the messages as they were received
    std::uint64_t connections = 0;

    // Counts one message.
    void add(std::string_view message) noexcept;

    // In words: "1 message, 220 bytes, 0 connections".
    std::string text() const;
};

}  // namespace veltra
