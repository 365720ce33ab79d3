// Finding a descriptor's record, with so many sockets open.

#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "registry/ClientServer.h"

namespace {

constexpr int unknownDescriptor = 3;
constexpr int oldestSocket = 4;

class OpenSockets {
public:
    explicit OpenSockets(std::int64_t count) {
        preInitializeMemo();
        for (int i = 0; i < count; ++i)
            registerNewSocket(oldestSocket + i, AF_INET, SOCK_STREAM, 0, IPPROTO_TCP);
    }
    ~OpenSockets() { cleanSocketInfo(); }
    OpenSockets(const OpenSockets&) = delete;
    OpenSockets& operator=(const OpenSockets&) = delete;
};

void lookUp(benchmark::State& state, int descriptor) {
    const OpenSockets sockets(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(descriptor);
        benchmark::DoNotOptimize(getSocketInfo(descriptor));
    }
}

// Looks at all of them in turn, so that none stays in a cache of its own accord.
void lookUpAllInTurn(benchmark::State& state) {
    const OpenSockets sockets(state.range(0));
    const int last = oldestSocket + static_cast<int>(state.range(0)) - 1;
    int descriptor = oldestSocket;
    for (auto _ : state) {
        benchmark::DoNotOptimize(getSocketInfo(descriptor));
        descriptor = descriptor == last ? oldestSocket : descriptor + 1;
    }
}

void openAndClose(benchmark::State& state) {
    const OpenSockets sockets(state.range(0));
    const int next = oldestSocket + static_cast<int>(state.range(0));
    for (auto _ : state) {
        registerNewSocket(next, AF_INET, SOCK_STREAM, 0, IPPROTO_TCP);
        freeSocketInfo(next);
    }
}

BENCHMARK_CAPTURE(lookUp, unknown, unknownDescriptor)->Arg(0)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK_CAPTURE(lookUp, oldest, oldestSocket)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(lookUpAllInTurn)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK(openAndClose)->Arg(0)->Arg(1000)->Arg(10000)->Arg(100000);

}  // namespace
