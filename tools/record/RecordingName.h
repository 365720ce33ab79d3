#pragma once

#include <sys/types.h>

#include <string>

namespace veltra {

// Puts the command into the pattern of a file name: its process id in place of %p, the last part of
// the path `program` in place of %n, and a percent sign in place of %%. Throws Failure when a
// percent sign stands before anything else.
std::string recordingName(const std::string& pattern, const std::string& program, pid_t process);

}  // namespace veltra
