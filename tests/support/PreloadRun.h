#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace veltra::testing {

// A probe program and what surrounds it when it runs. Of the agent's variables only those that are
// named here are set.
struct ProbeSettings {
    std::string program;  // full path
    std::vector<std::string> arguments = {};

    // Agent settings and whatever the probe itself reads.
    std::map<std::string, std::string> environment = {};

    // Bit mask of the trace kinds to write; 0: no trace file.
    int traceLevel = 1023;

    // What takes the messages: a recorder of the run's own, or else somebody on this port.
    std::optional<std::uint16_t> recorderPort = {};

    // Leaves address and port of the recorder to the agent.
    bool recorderIsDefault = false;

    // A library to preload behind the agent; empty: none.
    std::string nextLibrary = {};

    // A copy of the agent to preload instead of the built one; empty: that one.
    std::string agentLibrary = {};
};

// What a run leaves. Values that nobody can know beforehand are replaced by names: see Normaliser.
struct ProbeOutcome {
    int exitStatus;                   // or the negative number of the signal that ended it
    std::vector<std::string> output;  // without what the probe tells the normaliser
    std::string errors;
    std::vector<std::string> messages;
    std::vector<std::string> trace;
};

// Runs a probe with the agent preloaded.
ProbeOutcome runWithAgent(const ProbeSettings& settings);

// Runs the same probe without the agent: neither messages nor trace.
ProbeOutcome runBare(const ProbeSettings& settings);

// Runs a probe with the agent and without it, and fails the test unless the agent's run ends well,
// writes nothing to standard error, and prints what the bare run prints.
ProbeOutcome runProbe(const ProbeSettings& settings);

}  // namespace veltra::testing
