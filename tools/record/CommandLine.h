#pragma once

#include <optional>
#include <string>
#include <vector>

namespace veltra {

// What the user asked the launcher for.
struct CommandLine {
    std::optional<std::string> recordingFile;  // none: standard error
    std::vector<std::string> command;          // the command and its arguments, never empty
};

// Reads the launcher's arguments. Nothing is returned when the user only asked for help or the
// version, which is then printed on standard output.
// Throws Failure, with the usage in its text, when the arguments make no sense.
std::optional<CommandLine> readCommandLine(int argc, const char* const* argv);

}  // namespace veltra
