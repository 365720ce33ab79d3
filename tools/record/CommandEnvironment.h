#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace veltra {

// The environment for a command that is to be recorded: `environment` (texts of the form
// NAME=VALUE, ended by a null pointer) with the agent's library put before what is preloaded
// already, and with the recorder's address in place of any other.
std::vector<std::string> recordedEnvironment(const char* const* environment,
                                             const std::string& library,
                                             std::uint16_t recorderPort);

}  // namespace veltra
