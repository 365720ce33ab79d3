#pragma once

#include <span>

#include "record/CommandLine.h"

namespace veltra {

// Runs and records the command. `arguments` are the launcher's own. Returns the exit status for the
// launcher; may also end the process with it, when somebody wants it to end who does not read its
// output. Throws Failure or std::system_error when the command cannot be run.
int runAndRecord(const CommandLine& commandLine, std::span<char* const> arguments);

}  // namespace veltra
