#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "record/CommandEnvironment.h"

namespace veltra {

// An address and port that can be connected to.
struct ServerAddress {
    std::string address;  // in numbers, as inet_pton takes it
    std::uint16_t port;
};

// The agent's variables for a recording that goes to `recorder`. The recorder core's path is left
// out when it is empty.
std::vector<AgentSetting> agentSettings(const ServerAddress& recorder, const std::string& core);

}  // namespace veltra
