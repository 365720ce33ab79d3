#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

// What is sent in measurements. Every payload is the same in every run.
namespace veltra::bench {

// Lines as programs exchange them: prose, header fields and mark-up, with quotes and line ends.
inline std::string textPayload(std::size_t size) {
    constexpr std::string_view lines =
        "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nConnection: "
        "keep-alive\r\n\r\n"
        "<p class=\"greeting\">Hello from the other end of the line, where somebody reads.</p>\n"
        "\tIt was a bright cold day in spring, and all of the clocks were striking at noon.\n"
        "{\"name\": \"value & more\", \"number\": 1234567890, \"list\": [1, 2, 3, 4, 5]}\n";
    std::string payload;
    while (payload.size() < size)
        payload += lines;
    payload.resize(size);
    return payload;
}

// Nothing that has to be escaped.
inline std::string printablePayload(std::size_t size) {
    std::string payload(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        payload[i] = static_cast<char>('a' + i % 26);
    return payload;
}

inline std::string randomPayload(std::size_t size) {
    std::mt19937 generator(4711);
    std::string payload(size, ' ');
    for (char& byte : payload)
        byte = static_cast<char>(generator() & 0xFF);
    return payload;
}

inline std::string newlinePayload(std::size_t size) {
    return std::string(size, '\n');
}

}  // namespace veltra::bench
