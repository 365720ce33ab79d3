#pragma once

#include <string>

namespace veltra {

// Finds the program that a shell would run for `name`: the path itself if it contains a slash, else
// the first executable file of that name in the folders of `searchPath` (separated by colons, an
// empty one meaning the working directory; null: the system's default folders).
// Throws Failure when there is none, with another exit status if there is one which is not
// executable.
std::string findProgram(const std::string& name, const char* searchPath);

}  // namespace veltra
