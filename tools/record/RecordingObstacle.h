#pragma once

#include <optional>
#include <string>

namespace veltra {

// Says in one sentence, without a full stop, why nothing that the program at `path` does could be
// recorded if the caller ran it. For a script this is about what runs it; a program that "env" is
// to find is looked for in `searchPath`. Nothing is returned when it can be recorded, or when there
// is no way to know.
std::optional<std::string> recordingObstacle(const std::string& path, const char* searchPath);

}  // namespace veltra
