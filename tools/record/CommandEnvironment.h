#pragma once

#include <string>
#include <vector>

namespace veltra {

// A variable of the agent's. One that is there for its presence alone has the value "1".
struct AgentSetting {
    std::string variable;
    std::string value;
};

// The environment for a command that is to be recorded: `environment` (texts of the form
// NAME=VALUE, ended by a null pointer) with the agent's library put before what is preloaded
// already, and with the settings in place of any others of the same names.
std::vector<std::string> recordedEnvironment(const char* const* environment,
                                             const std::string& library,
                                             const std::vector<AgentSetting>& settings);

}  // namespace veltra
