// The numbers that every call draws.

#include <benchmark/benchmark.h>

#include "base/Counter.h"

namespace {

void drawNumbers(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(getTicket());
        benchmark::DoNotOptimize(getGlobalCpt());
    }
    state.SetItemsProcessed(std::int64_t{state.iterations()} * 2);
}

// The first runs while the process has one thread, and has to stay the first: afterwards the C
// library no longer says so.
BENCHMARK(drawNumbers);
BENCHMARK(drawNumbers)->Threads(2)->UseRealTime();

}  // namespace
