#include <cstdint>
#include <cstdlib>

#include "entry/sockentry.h"

namespace {

constexpr std::uint32_t notYetRead = 0xFFFFFFFF;

constinit std::atomic<std::uint32_t> optionalSocketHook{notYetRead};
constinit std::atomic<std::uint32_t> optionalSocketHook2{notYetRead};

bool readOnce(std::atomic<std::uint32_t>& cache, const char* variable) {
    std::uint32_t answer = cache.load(std::memory_order_relaxed);
    if (answer == notYetRead) {
        answer = getenv(variable) != nullptr ? 1 : 0;
        cache.store(answer, std::memory_order_relaxed);
    }
    return answer == 1;
}

}  // namespace

bool isOptionalSocketHook() {
    return readOnce(optionalSocketHook, "VELTRA_SOCKET_AGENT_OPT_HOOK");
}

bool isOptionalSocketHook2() {
    return readOnce(optionalSocketHook2, "VELTRA_SOCKET_AGENT_OPT_HOOK_2");
}
