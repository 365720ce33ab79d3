#include <unistd.h>

#include <cstddef>

// A library that a probe looks names up in: one of its own, one that the C library has too, and one
// that the agent has too.
extern "C" {

int getaddrinfo_extra() {
    return getpid();
}

void qsort(void*, std::size_t, std::size_t, int (*)(const void*, const void*)) {}

int getpeername() {
    return 2;
}
}
