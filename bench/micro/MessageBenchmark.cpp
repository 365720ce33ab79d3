// Whole messages as the hooks build them, up to their last byte but not sent.

#include <benchmark/benchmark.h>

#include "../payloads.h"
#include "recording/RecorderMessage.h"

namespace {

using namespace veltra::bench;
using Attribute = RecorderMessageAttribute;

constexpr long long milliseconds = 0x1a1fbf6cef9;
constexpr long long nanoseconds = 0x18c3f5a2b4c6d8e0;

void setHeader(RecorderMessage& message) {
    message.set(Attribute::timestampNs, nanoseconds);
    message.set(Attribute::timestamp, milliseconds);
    message.setInt(Attribute::ticket, 0x1234);
    message.setInt64(Attribute::socket, 6);
    message.set(Attribute::pid, 0x11bc);
}

void sendMessage(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string bytes = textPayload(size);
    for (auto _ : state) {
        RecorderMessage message(RecorderMessageKind::send, 0);
        setHeader(message);
        message.set(Attribute::data, bytes.data(), static_cast<int>(size));
        message.set(Attribute::length, static_cast<unsigned long>(size));
        message.set(Attribute::returnValue, static_cast<int>(size));
        message.set(Attribute::error, 0);
        message.finish();
        benchmark::DoNotOptimize(message.toString());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

void closeMessage(benchmark::State& state) {
    for (auto _ : state) {
        RecorderMessage message(RecorderMessageKind::close, 0);
        setHeader(message);
        message.finish();
        benchmark::DoNotOptimize(message.toString());
    }
}

BENCHMARK(sendMessage)->Arg(1)->Arg(64)->RangeMultiplier(16)->Range(1024, 16 << 20);
BENCHMARK(closeMessage);

}  // namespace
