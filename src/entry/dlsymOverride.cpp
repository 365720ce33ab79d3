#include "base/export.h"
#include "base/utils.h"

// The application's dlsym. What the agent itself defines comes first, whatever the handle, so that
// calls through looked-up pointers are recorded too.
//
// A look-up with the agent's own handle also searches the C library, on which the agent depends:
// only what really lies in the agent counts, or a program that asks one of its libraries for that
// library's own `malloc` would get the C library's.
extern "C" VELTRA_EXPORT void* EntryDlsym(void* handle, const char* symbol) __asm__("dlsym");

__attribute__((no_sanitize("address", "thread", "undefined"))) void* EntryDlsym(
    void* handle, const char* symbol) {
    void* const own = Truedlsym(agentLibraryHandle(), symbol);
    if (own != nullptr && isInsideAgent(own)) return own;
    return Truedlsym(handle, symbol);
}
