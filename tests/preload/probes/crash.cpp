// Ways to crash.

#include <sys/mman.h>

#include <csignal>
#include <cstdlib>

#include "Probe.h"

namespace {

void sayAtExit() {
    std::printf("at exit\n");
}

// The call that starts the agent.
void makeACall() {
    probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
}

void writeTo(const void* address) {
    *static_cast<volatile char*>(const_cast<void*>(address)) = 'x';
}

void nullPointer() {
    std::atexit(sayAtExit);
    makeACall();
    writeTo(probe::nowhere);
}

void insideSymbol() {
    makeACall();
    Dl_info info;
    dladdr(dlsym(RTLD_NEXT, "strtol"), &info);
    const void* const address = static_cast<char*>(info.dli_saddr) + 1;
    std::printf("SigSEV @ %p ( %s + 0x1) [%s]\n", address, info.dli_sname, info.dli_fname);
    writeTo(address);
}

// In the file's header, where no symbol is.
void insideLibrary() {
    makeACall();
    Dl_info info;
    dladdr(dlsym(RTLD_NEXT, "strtol"), &info);
    const void* const address = static_cast<char*>(info.dli_fbase) + 2;
    std::printf("SigSEV @ %p  [%s + 0x2]\n", address, info.dli_fname);
    writeTo(address);
}

// In code that belongs to no file, as a compiler at run time makes it: a write through a null
// pointer.
void outsideLibraries() {
    makeACall();
    const unsigned char code[] = {0xC6, 0x04, 0x25, 0, 0, 0, 0, 'x', 0xC3};
    void* const page =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::memcpy(page, code, sizeof(code));
    std::printf("       @ %p \n", page);
    reinterpret_cast<void (*)()>(page)();
}

[[gnu::noinline]] int recurse(int depth) {
    if (depth == 0) writeTo(probe::nowhere);
    const int deeper = depth == 0 ? 0 : recurse(depth - 1);
    asm volatile("" : : : "memory");
    return deeper + 1;
}

void deepStack() {
    makeACall();
    std::printf("depth %d\n", recurse(300));
}

void beforeAnyCall() {
    writeTo(probe::nowhere);
}

void endWith(int signal) {
    makeACall();
    std::fflush(stdout);
    raise(signal);
}

void handOver(int) {
    _exit(42);
}

void ownHandler() {
    makeACall();
    std::signal(SIGSEGV, handOver);
    makeACall();
    writeTo(probe::nowhere);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"null-pointer", nullPointer},
                               {"inside-symbol", insideSymbol},
                               {"inside-library", insideLibrary},
                               {"outside-libraries", outsideLibraries},
                               {"deep-stack", deepStack},
                               {"before-any-call", beforeAnyCall},
                               {"bus-error", [] { endWith(SIGBUS); }},
                               {"arithmetic", [] { endWith(SIGFPE); }},
                               {"abort", [] { endWith(SIGABRT); }},
                               {"own-handler", ownHandler}});
}
