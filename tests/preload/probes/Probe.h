#pragma once

// What the probe programs share. A probe makes calls as any application does, and prints what each
// of them gave. Lines that begin with "@" tell the test what it cannot know beforehand.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace probe {

// What errno holds before every call: a call that succeeds leaves it.
inline constexpr int untouched = 77;

// A null pointer that compilers do not know to be one.
inline char* volatile nowhere = nullptr;

inline void printResult(const char* name, long result, int error) {
    std::printf("%s: %ld errno %d\n", name, result, error);
}

// Makes the call and prints its result and the error code that it leaves.
template <typename Call>
auto report(const char* name, Call&& call, int errorBefore = untouched) {
    errno = errorBefore;
    const auto result = call();
    const int error = errno;
    printResult(name, static_cast<long>(result), error);
    return result;
}

// The same for a call that opens a descriptor, whose number depends on what else is open.
template <typename Call>
int reportDescriptor(const char* name, Call&& call) {
    errno = untouched;
    const int result = call();
    const int error = errno;
    if (result >= 0) {
        std::printf("%s: descriptor errno %d\n", name, error);
    } else {
        printResult(name, result, error);
    }
    return result;
}

inline void tellPort(const char* name, in_port_t port) {
    std::printf("@port %s %u\n", name, unsigned{port});
}

inline void tellAddress(const char* name, const void* address) {
    std::printf("@address %s %lx\n", name, reinterpret_cast<unsigned long>(address));
}

inline void tellProcess() {
    std::printf("@pid %d\n", static_cast<int>(getpid()));
}

inline sockaddr_in ipv4(const char* text, in_port_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, text, &address.sin_addr);
    return address;
}

inline sockaddr_in6 ipv6(const char* text, in_port_t port) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    inet_pton(AF_INET6, text, &address.sin6_addr);
    return address;
}

inline sockaddr_un local(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    return address;
}

template <typename Address>
const sockaddr* generic(const Address& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

template <typename Address>
sockaddr* generic(Address& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

// Finds an exported function; null when there is none.
template <typename Function>
Function exported(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

struct Scenario {
    const char* name;
    void (*run)();
};

// Runs the scenario that the first argument names.
inline int runScenario(int argc, char** argv, std::initializer_list<Scenario> scenarios) {
    tellProcess();
    for (const Scenario& scenario : scenarios) {
        if (argc > 1 && std::strcmp(argv[1], scenario.name) == 0) {
            scenario.run();
            return 0;
        }
    }
    return 2;
}

}  // namespace probe
