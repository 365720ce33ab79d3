#pragma once

#include <filesystem>
#include <string>

namespace veltra {

// The full path of the launcher's own file. Throws std::filesystem::filesystem_error when there is
// no way to know.
std::filesystem::path launcherPath();

// The full paths of the libraries that come with the launcher.
struct AgentLibraries {
    std::string agent;  // to be preloaded
    std::string core;   // the recorder core, which gives nanosecond stamps; empty: there is none
};

// Finds the libraries, given the full path of the launcher's own file: where they are in a build
// tree, else where they are in an installed one, else in the launcher's own folder.
// Throws Failure when there is no agent, or when the one found cannot be read or preloaded.
AgentLibraries findAgentLibraries(const std::filesystem::path& launcher);

}  // namespace veltra
