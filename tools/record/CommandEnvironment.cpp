#include "record/CommandEnvironment.h"

#include <algorithm>
#include <string_view>

namespace veltra {

namespace {

constexpr std::string_view preload = "LD_PRELOAD=";

bool isReplaced(std::string_view variable, const std::vector<AgentSetting>& settings) {
    const std::string_view name = variable.substr(0, variable.find('='));
    return std::ranges::find(settings, name, &AgentSetting::variable) != settings.end();
}

}  // namespace

std::vector<std::string> recordedEnvironment(const char* const* environment,
                                             const std::string& library,
                                             const std::vector<AgentSetting>& settings) {
    std::vector<std::string> result;
    std::string_view preloadedBefore;
    for (; *environment != nullptr; ++environment) {
        const std::string_view variable(*environment);
        if (variable.starts_with(preload)) {
            preloadedBefore = variable.substr(preload.size());
        } else if (!isReplaced(variable, settings)) {
            result.emplace_back(variable);
        }
    }
    std::string& preloaded = result.emplace_back(preload).append(library);
    if (!preloadedBefore.empty()) preloaded.append(":").append(preloadedBefore);
    for (const AgentSetting& setting : settings) {
        result.push_back(setting.variable + "=" + setting.value);
    }
    return result;
}

}  // namespace veltra
