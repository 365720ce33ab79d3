#include "recording/escaping.h"

#include <atomic>

#include "recording/escapingKernels.h"

namespace {

struct Way {
    unsigned long (*length)(const char* bytes, unsigned long count);
    char* (*write)(char* out, const char* limit, const char* bytes, unsigned long count);
};

constexpr Way portable = {&escapedLengthPortable, &writeEscapedPortable};
constexpr Way byVectors = {&escapedLengthByVectors, &writeEscapedByVectors};

// Either gives the same bytes, so it does not matter to anybody who comes before the choice.
constinit std::atomic<const Way*> way{&portable};

}  // namespace

void chooseEscaping() {
    if (canEscapeByVectors()) way.store(&byVectors, std::memory_order_relaxed);
}

unsigned long escapedLength(const char* bytes, unsigned long count) {
    return way.load(std::memory_order_relaxed)->length(bytes, count);
}

char* writeEscaped(char* out, const char* limit, const char* bytes, unsigned long count) {
    return way.load(std::memory_order_relaxed)->write(out, limit, bytes, count);
}
