#pragma once

#include <optional>
#include <string>
#include <vector>

#include "record/CommandEnvironment.h"
#include "record/ServerAddress.h"

namespace veltra {

// What the user wants of the agent beyond recording.
struct AgentWishes {
    std::optional<ServerAddress> socks;   // for IPv4 destinations
    std::optional<ServerAddress> socks6;  // for IPv6 destinations
    std::optional<int> socksTimeout;      // seconds
    bool recordRerouted = false;
    std::optional<int> traceKinds;  // a bit mask
    std::string traceFolder;        // empty: none
    bool traceback = false;
};

// The agent's variables for a recording that goes to `recorder`. The recorder core's path is left
// out when it is empty, and so is everything that is not wished for.
std::vector<AgentSetting> agentSettings(const ServerAddress& recorder, const std::string& core,
                                        const AgentWishes& wishes);

}  // namespace veltra
