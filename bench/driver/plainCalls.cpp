#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "Stopwatch.h"
#include "scenarios.h"
#include "sockets.h"

namespace veltra::bench {

namespace {

int opened(const char* path, int mode) {
    return static_cast<int>(checked(open(path, mode), path));
}

int emptySocketPair() {
    int ends[2];
    checked(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), "socketpair");
    return ends[0];
}

}  // namespace

double measurePlainCall(const std::string& call, int count) {
    static const int sink = opened("/dev/null", O_WRONLY);
    static const int source = opened("/dev/zero", O_RDONLY);
    static const int pair = emptySocketPair();
    char byte = 'x';
    // The results are checked once: a check in the loop would be measured too.
    ssize_t result = 0;
    double time = 0;
    if (call == "write") time = meanOfBatch(count, [&] { result = write(sink, &byte, 1); });
    if (call == "read") time = meanOfBatch(count, [&] { result = read(source, &byte, 1); });
    if (call == "recv") {
        time =
            meanOfBatch(count, [&] { result = recv(pair, &byte, 1, MSG_DONTWAIT) == -1 ? 1 : -1; });
    }
    checked(result == 1 ? 0 : -1, call.c_str());
    return time;
}

double measureTwoThreads(int count) {
    static const int sinks[2] = {opened("/dev/null", O_WRONLY), opened("/dev/null", O_WRONLY)};
    const auto writeAll = [count](int sink) {
        for (int i = 0; i < count; ++i)
            checked(write(sink, "x", 1), "write");
    };
    const std::int64_t start = nanosecondsNow();
    std::thread second(writeAll, sinks[1]);
    writeAll(sinks[0]);
    second.join();
    return static_cast<double>(nanosecondsNow() - start) / (2.0 * count);
}

}  // namespace veltra::bench
