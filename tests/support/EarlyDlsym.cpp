#include <dlfcn.h>

// Stands between a sanitizer's run-time library and the agent. The run-time library looks its real
// functions up before it is ready for sanitized code or for its own functions, and must not come
// into the agent's dlsym then: it gets the real one's answers, as seen from before the agent.
// Everybody else gets the agent's dlsym. Nothing here may call what a sanitizer intercepts.

// Defined by the run-time library, whichever it is.
extern "C" void __sanitizer_set_report_path(const char* path);

namespace {

using DlsymFunction = void* (*)(void*, const char*);

const void* libraryOf(const void* address) {
    Dl_info info;
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

bool isInSanitizer(const void* address) {
    return libraryOf(address) ==
           libraryOf(reinterpret_cast<const void*>(&__sanitizer_set_report_path));
}

void* lookUpNext(DlsymFunction function, void* handle, const char* name) {
    void* found = function(handle, name);
    // Keeps the call from becoming a jump: the real function looks at who calls it.
    asm volatile("" : "+r"(found));
    return found;
}

}  // namespace

extern "C" void* EarlyDlsym(void* handle, const char* name) __asm__("dlsym");

void* EarlyDlsym(void* handle, const char* name) {
    const auto real = reinterpret_cast<DlsymFunction>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.2.5"));
    if (isInSanitizer(__builtin_return_address(0))) return lookUpNext(real, handle, name);
    const auto next = reinterpret_cast<DlsymFunction>(lookUpNext(real, RTLD_NEXT, "dlsym"));
    return lookUpNext(next, handle, name);
}
