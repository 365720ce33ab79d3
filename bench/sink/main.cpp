// A recorder that does nothing but receive, and a SOCKS server that reaches everything, for
// measurements: what is measured is the program on the other side.
//
// usage: veltra_bench_sink DISCARDING SOCKS [WORK_NS BACKLOG]
//
// Opens so many ports of each kind and prints them in one line. Then every line on its standard
// input that is a port's number is answered with connections, bytes and errors since the last time.
// Ends with its standard input.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "Sink.h"

namespace {

using veltra::bench::PortKind;
using veltra::bench::Sink;
using veltra::bench::SinkPace;

void openPorts(Sink& sink, PortKind kind, int count) {
    for (int i = 0; i < count; ++i)
        std::printf("%u ", unsigned{sink.open(kind)});
}

void answer(Sink& sink, const std::string& line) {
    const Sink::Count count = sink.take(static_cast<std::uint16_t>(std::atoi(line.c_str())));
    std::printf("%lu %lu %lu\n", count.connections, count.bytes, count.errors);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3 && argc != 5) {
        std::fprintf(stderr, "usage: veltra_bench_sink DISCARDING SOCKS [WORK_NS BACKLOG]\n");
        return 2;
    }
    Sink sink(argc == 5 ? SinkPace{std::atoll(argv[3]), std::atoi(argv[4])} : SinkPace{});
    openPorts(sink, PortKind::discard, std::atoi(argv[1]));
    openPorts(sink, PortKind::socks, std::atoi(argv[2]));
    std::printf("\n");
    std::fflush(stdout);
    std::string line;
    sink.serve(STDIN_FILENO, [&](char byte) {
        if (byte != '\n') {
            line += byte;
            return true;
        }
        answer(sink, line);
        line.clear();
        return true;
    });
} catch (const std::exception& failure) {
    std::fprintf(stderr, "veltra_bench_sink: %s\n", failure.what());
    return 1;
}
