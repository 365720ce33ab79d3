#include "base/Counter.h"

#include <sys/single_threaded.h>

#include <atomic>
#include <type_traits>

#include "base/CriticalSection.h"

namespace {

constinit CriticalSection criticalSectionGlobalCpt = PTHREAD_MUTEX_INITIALIZER;
constinit CriticalSection criticalSectionInternalCpt = PTHREAD_MUTEX_INITIALIZER;
constinit CriticalSection ticketCriticalSection = PTHREAD_MUTEX_INITIALIZER;

constinit std::atomic<std::uint32_t> globalCpt{0};
constinit std::atomic<std::uint32_t> internalCpt{0};

// Adds 1 and returns the new value. While the process has one thread, the same instruction without
// its lock prefix will do: a signal handler cannot come between its read and its write.
template <typename Number>
Number next(std::atomic<Number>& counter) {
    static_assert(sizeof(counter) == sizeof(Number) && std::is_unsigned_v<Number>);
    if (!__libc_single_threaded) return counter.fetch_add(1, std::memory_order_relaxed) + 1;
    Number previous = 1;
    asm volatile("xadd %0, %1" : "+r"(previous), "+m"(counter) : : "cc");
    return previous + 1;
}

}  // namespace

long long getTicket() {
    static constinit std::atomic<unsigned long long> lastTicket{0};
    return static_cast<long long>(next(lastTicket));
}

std::int32_t getGlobalCpt() {
    return static_cast<std::int32_t>(next(globalCpt));
}

std::int32_t getInternalCpt() {
    return static_cast<std::int32_t>(next(internalCpt));
}

void initializeCounter() {
    AllocCriticalSectionBase(&criticalSectionGlobalCpt);
    AllocCriticalSectionBase(&criticalSectionInternalCpt);
    AllocCriticalSectionBase(&ticketCriticalSection);
}

void cleanCounter() {
    FreeCriticalSectionBase(&criticalSectionGlobalCpt);
    FreeCriticalSectionBase(&criticalSectionInternalCpt);
    FreeCriticalSectionBase(&ticketCriticalSection);
}
