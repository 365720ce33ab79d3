#pragma once

#include <filesystem>
#include <string>

namespace veltra {

// The full path of the launcher's own file. Throws std::filesystem::filesystem_error when there is
// no way to know.
std::filesystem::path launcherPath();

// Finds the library to preload, given the full path of the launcher's own file: where it is in a
// build tree, else where it is in an installed one, else in the launcher's own folder.
// Throws Failure when there is none, or when the one found cannot be read or preloaded.
std::string findAgentLibrary(const std::filesystem::path& launcher);

}  // namespace veltra
