#pragma once

#include <map>
#include <string>
#include <vector>

namespace veltra::testing {

using Variables = std::map<std::string, std::string>;

// Each runs a program with these variables as its environment, and tells what its first thread did
// between its two calls of getppid. They fail the test unless the program ends well.

// The names of its system calls.
std::vector<std::string> systemCallsBetweenMarks(const std::vector<std::string>& command,
                                                 const Variables& variables);

// How many locked instructions it executed, those with a lock prefix and exchanges with memory.
int lockedInstructionsBetweenMarks(const std::vector<std::string>& command,
                                   const Variables& variables);

}  // namespace veltra::testing
