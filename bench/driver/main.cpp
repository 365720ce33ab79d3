// Makes calls as any program does and tells how long they took. Whoever wants to know what an agent
// costs starts it with and without one, and asks the two in turn.
//
// usage: veltra_bench_driver [--idle-thread] [--sockets COUNT]
//        veltra_bench_driver --first-call write|socket     the nanoseconds of the program's first
//        call
//
// Reads commands from its standard input, one in a line, and answers each with a line of numbers:
//
//   plain CALL COUNT                        threads COUNT
//   udp CALL COUNT                          local CALL COUNT
//   connected IP:PORT COUNT                 reconnect IP:PORT COUNT
//   stream CALL SIZE COUNT [FLOOR]          bulk IP:PORT SIZE COUNT [FLOOR]
//   flatout SIZE SECONDS [FLOOR]
//
// FLOOR is "IP:PORT LENGTH linger|plain": after each call the program itself sends a message.

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "Stopwatch.h"
#include "scenarios.h"
#include "sockets.h"

namespace {

using namespace veltra::bench;

int measureFirstCall(const std::string& call) {
    const std::int64_t start = nanosecondsNow();
    const long result = call == "write" ? write(1, "", 0) : socket(AF_INET, SOCK_STREAM, 0);
    const std::int64_t end = nanosecondsNow();
    checked(result, call.c_str());
    std::printf("%lld\n", static_cast<long long>(end - start));
    return 0;
}

template <typename Value>
Value next(std::istream& words) {
    Value value{};
    words >> value;
    return value;
}

Floor nextFloor(std::istream& words) {
    std::string recorder, ending;
    std::size_t length = 0;
    if (!(words >> recorder >> length >> ending)) return {{}, 0, false};
    return {addressFrom(recorder), length, ending == "linger"};
}

void answer(double time) {
    std::printf("%.2f\n", time);
}

void answer(const FlatOut& run) {
    std::printf("%ld %.6f %.0f %.0f %.0f %d\n", run.calls, run.seconds, run.median,
                run.percentile99, run.longest, run.isBindPossible ? 1 : 0);
}

bool obey(const std::string& line) {
    std::istringstream words(line);
    const auto what = next<std::string>(words);
    if (what == "plain") {
        const auto call = next<std::string>(words);
        answer(measurePlainCall(call, next<int>(words)));
    } else if (what == "threads") {
        answer(measureTwoThreads(next<int>(words)));
    } else if (what == "udp" || what == "local") {
        const auto call = next<std::string>(words);
        answer(measureUnrecordedCall(what, call, next<int>(words)));
    } else if (what == "connected") {
        const sockaddr_in address = addressFrom(next<std::string>(words));
        answer(measureConnectedReceive(address, next<int>(words)));
    } else if (what == "reconnect") {
        const sockaddr_in address = addressFrom(next<std::string>(words));
        answer(measureConnectAndClose(address, next<int>(words)));
    } else if (what == "stream") {
        const auto call = next<std::string>(words);
        const auto size = next<std::size_t>(words);
        const auto count = next<int>(words);
        answer(measureStreamCall(call, size, nextFloor(words), count));
    } else if (what == "bulk") {
        const sockaddr_in reader = addressFrom(next<std::string>(words));
        const auto size = next<std::size_t>(words);
        const auto count = next<int>(words);
        answer(measureBulkSend(reader, size, nextFloor(words), count));
    } else if (what == "flatout") {
        const auto size = next<std::size_t>(words);
        const auto seconds = next<double>(words);
        answer(runFlatOut(seconds, size, nextFloor(words)));
    } else {
        return false;
    }
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string option = argc > 1 ? argv[1] : "";
    if (option == "--first-call" && argc == 3) return measureFirstCall(argv[2]);
    if (option == "--idle-thread") {
        std::thread([] {
            for (;;)
                pause();
        }).detach();
    }
    if (option == "--sockets" && argc == 3) openSockets(std::atoi(argv[2]));
    for (std::string line; std::getline(std::cin, line);) {
        if (!obey(line)) {
            std::fprintf(stderr, "veltra_bench_driver: what is '%s'?\n", line.c_str());
            return 2;
        }
    }
}
