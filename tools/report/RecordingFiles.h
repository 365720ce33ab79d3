#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veltra {

// The word for standard input in place of a file name.
inline constexpr std::string_view standardInputName = "-";

// How a recording is called where people read it.
std::string shownName(const std::string& recording);

// How many bytes the recordings have together, or 0 if that cannot be told beforehand.
std::uint64_t totalSize(const std::vector<std::string>& recordings);

// Whether `output`, or standard output if there is none, is the file of one of the recordings, so
// that writing there would destroy it or never come to an end.
bool isOneOf(const std::vector<std::string>& recordings, const std::optional<std::string>& output);

// Reads one recording from its beginning to its end and hands it out piece by piece; the pieces are
// valid during the call only. What `onBytes` throws passes through.
// Throws std::system_error, with the recording's name in its text, when it cannot be read.
void readRecording(const std::string& recording,
                   const std::function<void(std::string_view)>& onBytes);

}  // namespace veltra
