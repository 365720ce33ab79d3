#pragma once

#include <time.h>

#include <optional>
#include <string>
#include <vector>

// What the agent's code in this program gets from the C library, where a test says so. A program
// that uses it is linked with veltra_scripted_system (CMakeLists.txt).
struct ScriptedSystem {
    std::optional<time_t> time;
    std::optional<int> processId;
    std::optional<timespec> clock;  // the real-time clock's; every other clock stays as it is
    bool strdupFails = false;
    // Every line handed to the debug server, with its newline.
    std::vector<std::string> debugServerLines;

    std::vector<std::string> takeDebugServerLines();
};

// The one that holds; its members are at their defaults when a test begins.
extern ScriptedSystem scriptedSystem;

// Puts the defaults back at the end of a scope.
class ScriptedSystemScope {
public:
    ScriptedSystemScope() = default;
    ~ScriptedSystemScope() { scriptedSystem = {}; }
    ScriptedSystemScope(const ScriptedSystemScope&) = delete;
    ScriptedSystemScope& operator=(const ScriptedSystemScope&) = delete;
};
