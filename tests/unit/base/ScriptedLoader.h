#pragma once

#include <string>
#include <vector>

#include "scriptedDlsym.h"

struct OpenedLibrary {
    std::string file;
    int flags;

    bool operator==(const OpenedLibrary&) const = default;
};

struct VersionedLookUp {
    void* handle;
    std::string name;
    std::string version;

    bool operator==(const VersionedLookUp&) const = default;
};

// Handles that no library has.
inline void* const libdlHandle = reinterpret_cast<void*>(0x1000);
inline void* const agentHandle = reinterpret_cast<void*>(0x2000);
inline void* const otherHandle = reinterpret_cast<void*>(0x3000);

// What the dynamic linker answers to the agent's code in this program, where dlopen, dlvsym and
// dladdr lead here.
struct ScriptedLoader {
    void* openedLibdl = nullptr;      // dlopen's answer for "libdl.so"
    void* openedAgent = agentHandle;  // and for every other file
    bool knowsTheAgent = true;        // false: dladdr fails
    // dlvsym's answers, by version and handle.
    void* newDlsymInLibdl = nullptr;
    void* newDlsymNext = reinterpret_cast<void*>(&scriptedDlsym);
    void* oldDlsymNext = reinterpret_cast<void*>(&scriptedDlsym);

    // What was asked for, in order.
    std::vector<OpenedLibrary> opened;
    std::vector<VersionedLookUp> versionedLookUps;
};

extern ScriptedLoader scriptedLoader;
