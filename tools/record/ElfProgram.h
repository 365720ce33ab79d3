#pragma once

#include <optional>
#include <string>

namespace veltra {

// Says, as the rest of a sentence that begins with the program's name, why the program could not
// load the agent: it is for another machine or another C library, or loads no libraries at all.
// Nothing is returned when it can, and when the file of descriptor `file` is no ELF program or
// cannot be read.
std::optional<std::string> linkageObstacle(int file);

}  // namespace veltra
