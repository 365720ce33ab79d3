#include "record/AgentSettings.h"

namespace veltra {

std::vector<AgentSetting> agentSettings(const ServerAddress& recorder, const std::string& core) {
    std::vector<AgentSetting> settings = {
        {"VELTRA_SOCKET_AGENT_IP_ADDRESS", recorder.address},
        {"VELTRA_SOCKET_AGENT_PORT_NUMBER", std::to_string(recorder.port)},
    };
    if (!core.empty()) settings.push_back({"VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH", core});
    return settings;
}

}  // namespace veltra
