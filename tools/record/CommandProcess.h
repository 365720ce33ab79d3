#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "record/LauncherSignals.h"

namespace veltra {

// Runs the program with the given arguments (the first is its name) and environment, and with the
// launcher's standard streams and original signal handling. Returns the process' id.
// Throws Failure when the system does not run it.
pid_t startCommand(const std::string& program, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment, const LauncherSignals& signals);

// The exit status that a shell reports for a wait status: the program's own, or 128 and the number
// of the signal that ended it.
int shellExitStatus(int waitStatus);

}  // namespace veltra
