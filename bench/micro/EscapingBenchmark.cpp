// Escaping 64 KiB, against a plain copy of the same bytes.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "../payloads.h"
#include "recording/PrintBuffer.h"
#include "recording/escaping.h"

namespace {

using namespace veltra::bench;

constexpr std::size_t size = 64 * 1024;

using Payload = std::string (*)(std::size_t size);

void copy(benchmark::State& state) {
    const std::string bytes = textPayload(size);
    std::vector<char> target(size);
    for (auto _ : state) {
        std::memcpy(target.data(), bytes.data(), size);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

// As a message does it: with a buffer of its own, which grows once. The agent's memory hands the
// same pages out again and again, so that after the first rounds all of it is warm.
void escape(benchmark::State& state, Payload payload) {
    const std::string bytes = payload(size);
    chooseEscaping();
    for (auto _ : state) {
        PrintBuffer buffer;
        buffer.appendAttr(RecorderMessageAttribute::data, bytes.data(), size);
        benchmark::DoNotOptimize(buffer.toString());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

BENCHMARK(copy);
BENCHMARK_CAPTURE(escape, text, &textPayload);
BENCHMARK_CAPTURE(escape, printable, &printablePayload);
BENCHMARK_CAPTURE(escape, random, &randomPayload);
BENCHMARK_CAPTURE(escape, newlines, &newlinePayload);

}  // namespace
