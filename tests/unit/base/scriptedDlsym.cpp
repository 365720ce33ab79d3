#include "scriptedDlsym.h"

std::vector<LookUp> scriptedLookUps;
void* scriptedHandle = nullptr;
void* scriptedAnswer = nullptr;

void* scriptedDlsym(void* handle, const char* name) {
    scriptedLookUps.push_back({handle, name});
    return handle == scriptedHandle ? scriptedAnswer : nullptr;
}
