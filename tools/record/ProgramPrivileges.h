#pragma once

#include <optional>
#include <string>

namespace veltra {

// Says, as the rest of a sentence that begins with the program's name, what privileges the file at
// `path` would give to whoever calls this and runs it: the system preloads nothing into such a
// program. Nothing is returned when it gives none.
std::optional<std::string> privilegeObstacle(const std::string& path);

}  // namespace veltra
