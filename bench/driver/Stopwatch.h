#pragma once

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace veltra::bench {

inline std::int64_t nanosecondsNow() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

inline double medianOf(std::vector<std::int64_t> values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return static_cast<double>(*middle);
}

// The time of an operation that is too short to be timed alone: the mean of a batch.
template <typename Operation>
double meanOfBatch(int count, Operation&& operation) {
    const std::int64_t start = nanosecondsNow();
    for (int i = 0; i < count; ++i)
        operation();
    return static_cast<double>(nanosecondsNow() - start) / count;
}

// The median time of an operation, each time prepared for and tidied up after off the clock. What
// reading the clock costs is taken off.
template <typename Prepare, typename Operation, typename TidyUp>
double medianOfSingle(int count, Prepare&& prepare, Operation&& operation, TidyUp&& tidyUp) {
    std::vector<std::int64_t> clock;
    for (int i = 0; i < 100; ++i) {
        const std::int64_t start = nanosecondsNow();
        clock.push_back(nanosecondsNow() - start);
    }
    std::vector<std::int64_t> times;
    times.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        prepare();
        const std::int64_t start = nanosecondsNow();
        operation();
        times.push_back(nanosecondsNow() - start);
        tidyUp();
    }
    return medianOf(std::move(times)) - medianOf(std::move(clock));
}

}  // namespace veltra::bench
