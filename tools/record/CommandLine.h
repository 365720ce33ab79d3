#pragma once

#include <optional>
#include <string>
#include <vector>

#include "record/AgentSettings.h"
#include "record/ServerAddress.h"
#include "recording/Formatter.h"

namespace veltra {

// What the user asked the launcher for.
struct CommandLine {
    std::optional<std::string> recordingFile;  // "-": standard output; none: standard error
    RecordingFormat format = RecordingFormat::lines;
    bool summary = false;
    std::optional<ServerAddress> recorder;  // somebody else's; none: one of the launcher's own
    AgentWishes agent;
    bool force = false;                // run also what cannot be recorded
    bool quiet = false;                // say nothing but errors
    bool verbose = false;              // tell what is set and found
    std::vector<std::string> command;  // the command and its arguments, never empty
};

// Reads the launcher's arguments, and looks up the hosts that they name. Nothing is returned when
// the user only asked for help or the version, which is then printed on standard output.
// Throws Failure when the arguments make no sense or the help cannot be printed.
std::optional<CommandLine> readCommandLine(int argc, const char* const* argv);

}  // namespace veltra
