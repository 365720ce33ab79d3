#include "record/AgentSettings.h"

namespace veltra {

namespace {

constexpr const char* present = "1";

}  // namespace

std::vector<AgentSetting> agentSettings(const ServerAddress& recorder, const std::string& core,
                                        const AgentWishes& wishes) {
    std::vector<AgentSetting> settings;
    const auto add = [&settings](const std::string& name, const std::string& value) {
        settings.push_back({"VELTRA_SOCKET_AGENT_" + name, value});
    };
    add("IP_ADDRESS", recorder.address);
    add("PORT_NUMBER", std::to_string(recorder.port));
    if (!core.empty()) add("RECORDERCORE64_PATH", core);
    if (wishes.socks) {
        add("SOCKS_IPV4_ADDRESS", wishes.socks->address);
        add("SOCKS_PORT_NUMBER_IPV4", std::to_string(wishes.socks->port));
    }
    if (wishes.socks6) {
        add("SOCKS_IPV6_ADDRESS", wishes.socks6->address);
        add("SOCKS_PORT_NUMBER_IPV6", std::to_string(wishes.socks6->port));
    }
    if (wishes.socksTimeout) add("SOCKS_MAX_TIMEOUT", std::to_string(*wishes.socksTimeout));
    if (wishes.recordRerouted) add("DOUBLE_LOG_SOCKS", present);
    if (wishes.traceKinds) add("DEBUG_LVL", std::to_string(*wishes.traceKinds));
    if (!wishes.traceFolder.empty()) add("DEBUG_DIR", wishes.traceFolder);
    if (wishes.traceback) add("DEBUG_TRACEBACK", present);
    return settings;
}

}  // namespace veltra
