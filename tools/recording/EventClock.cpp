#include "recording/EventClock.h"

#include <limits>

namespace veltra {

namespace {

constexpr std::int64_t nanosecondsPerMillisecond = 1'000'000;
constexpr std::int64_t lastMillisecond =
    std::numeric_limits<std::int64_t>::max() / nanosecondsPerMillisecond;
// Clocks that differ by less than this count from the same epoch.
constexpr std::int64_t sameEpoch = 1'000'000'000;

// The stamps are whatever a file says: a sum that is no time is none.
std::optional<std::int64_t> sum(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_add_overflow(a, b, &result) || result < 0) return std::nullopt;
    return result;
}

}  // namespace

std::optional<std::int64_t> EventClock::timeOf(const Event& event) {
    const auto milliseconds = event.milliseconds();
    const auto nanoseconds = event.nanoseconds();
    const auto known = offsets_.find(event.process().value_or(0));
    if (nanoseconds && known != offsets_.end()) return sum(*nanoseconds, known->second);
    if (!milliseconds || *milliseconds < 0 || *milliseconds > lastMillisecond) return std::nullopt;

    const std::int64_t time = *milliseconds * nanosecondsPerMillisecond;
    if (!nanoseconds) return time;
    std::int64_t offset = 0;
    if (__builtin_sub_overflow(time, *nanoseconds, &offset)) return time;
    const bool isSameEpoch = offset > -sameEpoch && offset < sameEpoch;
    const auto entry =
        offsets_.emplace(event.process().value_or(0), isSameEpoch ? 0 : offset).first;
    return sum(*nanoseconds, entry->second);
}

}  // namespace veltra
