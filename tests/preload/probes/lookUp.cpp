// Functions that are looked up instead of called by name.

#include <cstdlib>
#include <string>
#include <vector>

#include "Peer.h"

using probe::report;

namespace {

// The names to look up.
std::vector<const char*> arguments;

// The file name, without its directory, of the library that defines what was found.
const char* libraryOf(const void* found) {
    Dl_info info;
    if (found == nullptr || dladdr(found, &info) == 0) return "none";
    const char* const slash = std::strrchr(info.dli_fname, '/');
    return slash == nullptr ? info.dli_fname : slash + 1;
}

void printFound(const char* where, void* handle, const char* name) {
    std::printf("%s %s: %s\n", where, name, libraryOf(dlsym(handle, name)));
}

void* openLibrary(const char* variable) {
    return dlopen(std::getenv(variable), RTLD_NOW);
}

void interposedCalls() {
    void* const cLibrary = dlopen("libc.so.6", RTLD_LAZY);
    const auto find = [=](const char* name) {
        printFound("next", RTLD_NEXT, name);
        printFound("default", RTLD_DEFAULT, name);
        printFound("C library", cLibrary, name);
    };
    for (const char* name : arguments)
        find(name);
    find("dlsym");
}

// What the agent does not define, and what dlerror then tells.
void otherNames() {
    void* const cLibrary = dlopen("libc.so.6", RTLD_LAZY);
    void* const object = openLibrary("PROBE_OBJECT");
    const auto find = [](const char* where, void* handle, const char* name) {
        dlerror();
        printFound(where, handle, name);
        const char* const error = dlerror();
        std::printf("error: %s\n", error == nullptr ? "none" : error);
    };
    find("default", RTLD_DEFAULT, "getpid");
    find("next", RTLD_NEXT, "getpid");
    find("C library", cLibrary, "gethostname");
    find("object", object, "getaddrinfo_extra");
    find("object", object, "qsort");
    find("object", object, "getpid");
    find("object", object, "no_such_name");
    find("C library", cLibrary, "getaddrinfo_extra");
    find("next", RTLD_NEXT, "nextAnswer");
}

// An object that defines a name of the agent's, too.
void nameOfTheAgent() {
    printFound("object", openLibrary("PROBE_OBJECT"), "getpeername");
}

void lookedUpCall() {
    const auto found = probe::exported<decltype(&socket)>("socket");
    probe::reportDescriptor("socket", [=] { return found(AF_INET, SOCK_STREAM, 0); });
}

// Every call past the hooks by its own name.
void directNames() {
    for (const std::string name : arguments) {
        printFound("default", RTLD_DEFAULT, ("Direct" + name).c_str());
    }
}

void directCalls() {
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    const sockaddr_in server = probe::ipv4("127.0.0.1", peer::portOf(listener));
    const auto directSocket = probe::exported<decltype(&socket)>("Directsocket");
    const auto directConnect = probe::exported<decltype(&connect)>("Directconnect");
    const auto directSend = probe::exported<decltype(&send)>("Directsend");
    const auto directRead = probe::exported<decltype(&read)>("Directread");
    const auto directClose = probe::exported<decltype(&close)>("Directclose");
    const int client = probe::reportDescriptor(
        "Directsocket", [=] { return directSocket(AF_INET, SOCK_STREAM, 0); });
    report("Directconnect",
           [&] { return directConnect(client, probe::generic(server), sizeof(server)); });
    const int other = peer::accepted(listener);
    report("Directsend", [=] { return directSend(client, "ping", 4, 0); });
    char text[8] = "";
    syscall(SYS_read, other, text, 4);
    peer::send(other, "pong", 4);
    std::printf("%s\n", text);
    report("Directread", [&] { return directRead(client, text, 4); });
    std::printf("%s\n", text);
    report("Directclose", [=] { return directClose(client); });
    report("Directclose", [=] { return directClose(client); });
    const auto* const globalInit = probe::exported<const int*>("globalInit");
    const auto agentInterface = probe::exported<void* (*)()>("getAgentInterface");
    std::printf("globalInit: %d agent interface: %s\n", *globalInit,
                agentInterface() == nullptr ? "none" : "there");
}

void optionalHooks() {
    const auto first = probe::exported<bool (*)()>("isOptionalSocketHook");
    const auto second = probe::exported<bool (*)()>("isOptionalSocketHook2");
    std::printf("first: %d second: %d\n", first(), second());
    setenv("VELTRA_SOCKET_AGENT_OPT_HOOK", "", 1);
    unsetenv("VELTRA_SOCKET_AGENT_OPT_HOOK_2");
    std::printf("first: %d second: %d\n", first(), second());
    probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 2; i < argc; ++i)
        arguments.push_back(argv[i]);
    return probe::runScenario(argc, argv,
                              {{"interposed-calls", interposedCalls},
                               {"other-names", otherNames},
                               {"name-of-the-agent", nameOfTheAgent},
                               {"looked-up-call", lookedUpCall},
                               {"direct-names", directNames},
                               {"direct-calls", directCalls},
                               {"optional-hooks", optionalHooks}});
}
