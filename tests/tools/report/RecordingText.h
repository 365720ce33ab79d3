#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "recording/RecordingReader.h"

namespace veltra::testing {

// The bytes as an agent writes them into a value.
std::string escapedText(std::string_view bytes);

// All 256 byte values, in order.
std::string everyByte();

// The recording's lines, written in one format.
template <typename Writer>
std::string written(std::string_view recording, Writer&& writer) {
    std::string output;
    RecordingReader reader([&](const RecordedLine& line) { writer.append(line, output); });
    reader.feed(recording);
    reader.endLine();
    return output;
}

}  // namespace veltra::testing
