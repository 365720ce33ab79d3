#include <dlfcn.h>

#include <atomic>
#include <cstdlib>

#include "base/utils.h"

// The sanitizers' run-time libraries call dlsym before they are ready for instrumented code.
#define BEFORE_SANITIZERS __attribute__((no_sanitize("address", "thread", "undefined")))

namespace {

using DlsymFunction = void* (*)(void* handle, const char* name);

constinit std::atomic<DlsymFunction> dlsymptr{nullptr};
constinit std::atomic<void*> handleDLLIB{nullptr};
constinit std::atomic<void*> handleHookLIB{nullptr};

constexpr const char* symb = "dlsym";

// The versions under which the C library has exported dlsym, the newest first.
constexpr const char* dlsymVersions[] = {"GLIBC_2.34", "GLIBC_2.2.5"};

BEFORE_SANITIZERS void* libraryBaseOf(const void* address) {
    Dl_info info;
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

// Looks dlsym up by version, which the agent's own override does not have. A null handle would mean
// the default order, where the first dlsym is the override: an answer inside the agent is refused.
BEFORE_SANITIZERS DlsymFunction realDlsymFrom(void* handle) {
    for (const char* version : dlsymVersions) {
        void* const found = dlvsym(handle, symb, version);
        if (found != nullptr && !isInsideAgent(found)) {
            return reinterpret_cast<DlsymFunction>(found);
        }
    }
    return nullptr;
}

// Opens what Truedlsym needs. Done twice it finds and stores the same values, so it needs no guard.
BEFORE_SANITIZERS void setUpLookup() {
    // First what needs no memory: an allocator that calls what is interposed comes back here.
    dlsymptr.store(realDlsymFrom(RTLD_NEXT), std::memory_order_release);
    void* const library = dlopen("libdl.so", RTLD_LAZY);
    handleDLLIB.store(library, std::memory_order_relaxed);
    Dl_info self;
    if (dladdr(reinterpret_cast<const void*>(&Truedlsym), &self) != 0) {
        // The agent is loaded already: never let an odd path load a second copy of it.
        handleHookLIB.store(dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD),
                            std::memory_order_relaxed);
    }
    const DlsymFunction preferred = library != nullptr ? realDlsymFrom(library) : nullptr;
    if (preferred != nullptr) dlsymptr.store(preferred, std::memory_order_release);
}

}  // namespace

BEFORE_SANITIZERS void* Truedlsym(void* handle, const char* name) {
    DlsymFunction real = dlsymptr.load(std::memory_order_acquire);
    if (real == nullptr) [[unlikely]] {
        setUpLookup();
        real = dlsymptr.load(std::memory_order_relaxed);
        if (real == nullptr) return nullptr;
        void* const agent = handleHookLIB.load(std::memory_order_relaxed);
        if (handle == RTLD_DEFAULT && agent != nullptr) handle = agent;
    }
    void* found = real(handle, name);
    // Keeps the call above from becoming a jump: the real dlsym takes "next" relative to its
    // caller, which has to be the agent and not whoever called us.
    asm volatile("" : "+r"(found));
    return found;
}

BEFORE_SANITIZERS void* agentLibraryHandle() {
    return handleHookLIB.load(std::memory_order_relaxed);
}

BEFORE_SANITIZERS bool isInsideAgent(const void* address) {
    void* const agent = libraryBaseOf(reinterpret_cast<const void*>(&Truedlsym));
    return agent != nullptr && libraryBaseOf(address) == agent;
}

void* MyGetProcAddr(const char* name) {
    void* const found = GetProcAddress(RTLD_NEXT, name);
    x_disp(TRACE_INFO, "Get_addr(%s)=> %08lx", name, reinterpret_cast<unsigned long>(found));
    return found;
}

void* GetProcAddress(void* handle, const char* name) {
    void* const found = Truedlsym(handle, name);
    return found != nullptr ? found : Truedlsym(RTLD_DEFAULT, name);
}

GetProcAddressFunction getfGetProcAddress() {
    return &GetProcAddress;
}

void* LoadSymbolFromLibrary(const char* path, const char* name) {
    char* const file = realpath(path, nullptr);
    void* const library = dlopen(file, RTLD_NOW);
    free(file);
    return Truedlsym(library, name);
}
