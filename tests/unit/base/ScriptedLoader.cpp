#include "ScriptedLoader.h"

#include <dlfcn.h>

ScriptedLoader scriptedLoader;

// The linker turns the program's own calls of dlopen and so on into calls of these.
extern "C" {
void* __wrap_dlopen(const char* file, int flags);
void* __wrap_dlvsym(void* handle, const char* name, const char* version);
int __wrap_dladdr(const void* address, Dl_info* info);
int __real_dladdr(const void* address, Dl_info* info);

void* __wrap_dlopen(const char* file, int flags) {
    const std::string name = file == nullptr ? "(null)" : file;
    scriptedLoader.opened.push_back({name, flags});
    return name == "libdl.so" ? scriptedLoader.openedLibdl : scriptedLoader.openedAgent;
}

void* __wrap_dlvsym(void* handle, const char* name, const char* version) {
    scriptedLoader.versionedLookUps.push_back({handle, name, version});
    const bool isNew = std::string(version) == "GLIBC_2.34";
    if (handle == libdlHandle) return isNew ? scriptedLoader.newDlsymInLibdl : nullptr;
    if (handle != RTLD_NEXT) return nullptr;
    return isNew ? scriptedLoader.newDlsymNext : scriptedLoader.oldDlsymNext;
}

int __wrap_dladdr(const void* address, Dl_info* info) {
    return scriptedLoader.knowsTheAgent ? __real_dladdr(address, info) : 0;
}
}
