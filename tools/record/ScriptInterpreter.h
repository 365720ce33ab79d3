#pragma once

#include <optional>
#include <string>

namespace veltra {

// The program that runs the script of descriptor `file`: the one that its first line names, or for
// "#!/usr/bin/env NAME" the one of that name in the folders of `searchPath`, or an empty text if
// there is none. Nothing is returned when the file is no script or cannot be read.
std::optional<std::string> scriptInterpreter(int file, const char* searchPath);

}  // namespace veltra
