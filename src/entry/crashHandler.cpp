#include "entry/crashHandler.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int mostFrames = 100;

void* distance(void* address, void* base) {
    return reinterpret_cast<void*>(static_cast<char*>(address) - static_cast<char*>(base));
}

// The address with its symbol, or else its library, in brackets behind it.
void printPlace(const char* before, void* address) {
    Dl_info info;
    if (dladdr(address, &info) == 0) {
        std::printf("%s @ %p \n", before, address);
    } else if (info.dli_sname != nullptr) {
        std::printf("%s @ %p ( %s + %p) [%s]\n", before, address, info.dli_sname,
                    distance(address, info.dli_saddr), info.dli_fname);
    } else {
        std::printf("%s @ %p  [%s + %p]\n", before, address, info.dli_fname,
                    distance(address, info.dli_fbase));
    }
}

// Nothing here is safe in a signal handler: it is the last that this process does.
void handler(int, siginfo_t* info, void*) {
    void* frames[mostFrames];
    const int count = backtrace(frames, mostFrames);
    printPlace("SigSEV", info->si_addr);
    std::printf("==================================Stack=========================\n");
    for (int i = 0; i < count; ++i)
        printPlace("      ", frames[i]);
    std::printf("================================End Stack=======================\n");
    exit(0);
}

}  // namespace

int active_handler(struct sigaction* old) {
    // The first backtrace of a process loads a library, which is better done now than in the crash.
    void* frame = nullptr;
    backtrace(&frame, 1);
    struct sigaction action {};
    action.sa_sigaction = &handler;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGSEGV, &action, old);
}

int restore_handler(struct sigaction* act) {
    return sigaction(SIGSEGV, act, nullptr);
}

int DisplaySymbol(void* address) {
    Dl_info info;
    if (dladdr(address, &info) == 0) return 0;
    if (info.dli_sname != nullptr) {
        return std::printf(" %p => %s  (%p) from %s (base %p)\n", address, info.dli_sname,
                           info.dli_saddr, info.dli_fname, info.dli_fbase);
    }
    return std::printf(" %p => from %s (base %p)\n", address, info.dli_fname, info.dli_fbase);
}
