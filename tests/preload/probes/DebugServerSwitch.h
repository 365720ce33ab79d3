#pragma once

// Exported by the agent; there is none in the bare program.
extern "C" [[gnu::weak]] char initializationDone;

namespace probe {

// Switches the agent's debug server on, before the first call.
inline void switchDebugServerOn() {
    char* volatile const switchedOff = &initializationDone;
    if (switchedOff != nullptr) *switchedOff = 0;
}

}  // namespace probe
