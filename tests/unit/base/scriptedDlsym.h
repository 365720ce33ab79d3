#pragma once

#include <string>
#include <vector>

struct LookUp {
    void* handle;
    std::string name;

    bool operator==(const LookUp&) const = default;
};

// Every call of the scripted dlsym, in order.
extern std::vector<LookUp> scriptedLookUps;

// What it answers under the given handle; null under every other.
extern void* scriptedHandle;
extern void* scriptedAnswer;

void* scriptedDlsym(void* handle, const char* name);
