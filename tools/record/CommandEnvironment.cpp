#include "record/CommandEnvironment.h"

#include <string_view>

namespace veltra {

namespace {

constexpr std::string_view preload = "LD_PRELOAD=";
constexpr std::string_view address = "VELTRA_SOCKET_AGENT_IP_ADDRESS=";
constexpr std::string_view port = "VELTRA_SOCKET_AGENT_PORT_NUMBER=";

}  // namespace

std::vector<std::string> recordedEnvironment(const char* const* environment,
                                             const std::string& library,
                                             std::uint16_t recorderPort) {
    std::vector<std::string> result;
    std::string_view preloadedBefore;
    for (; *environment != nullptr; ++environment) {
        const std::string_view variable(*environment);
        if (variable.starts_with(preload)) {
            preloadedBefore = variable.substr(preload.size());
        } else if (!variable.starts_with(address) && !variable.starts_with(port)) {
            result.emplace_back(variable);
        }
    }
    std::string& preloaded = result.emplace_back(preload).append(library);
    if (!preloadedBefore.empty()) preloaded.append(":").append(preloadedBefore);
    result.emplace_back(address).append("127.0.0.1");
    result.emplace_back(port).append(std::to_string(recorderPort));
    return result;
}

}  // namespace veltra
