// Numbers as hexadecimal text.

#include <benchmark/benchmark.h>

#include "recording/PrintBuffer.h"

namespace {

constexpr int numbersPerBuffer = 256;

template <typename Number>
void appendNumber(benchmark::State& state, Number number) {
    for (auto _ : state) {
        PrintBuffer buffer;
        for (int i = 0; i < numbersPerBuffer; ++i) {
            benchmark::DoNotOptimize(number);
            buffer.append(number);
        }
        benchmark::DoNotOptimize(buffer.toString());
    }
    state.SetItemsProcessed(std::int64_t{state.iterations()} * numbersPerBuffer);
}

void appendNumberAttribute(benchmark::State& state) {
    constexpr long long milliseconds = 0x1a1fbf6cef9;
    for (auto _ : state) {
        PrintBuffer buffer;
        for (int i = 0; i < numbersPerBuffer; ++i)
            buffer.appendAttr(RecorderMessageAttribute::timestamp, milliseconds);
        benchmark::DoNotOptimize(buffer.toString());
    }
    state.SetItemsProcessed(std::int64_t{state.iterations()} * numbersPerBuffer);
}

BENCHMARK_CAPTURE(appendNumber, oneDigit, 7U);
BENCHMARK_CAPTURE(appendNumber, eightDigits, 0xffffffffU);
BENCHMARK_CAPTURE(appendNumber, elevenDigits, 0x1a1fbf6cef9LL);
BENCHMARK_CAPTURE(appendNumber, sixteenDigits, -1LL);
BENCHMARK(appendNumberAttribute);

}  // namespace
