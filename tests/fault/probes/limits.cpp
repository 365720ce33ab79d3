// Many sockets, much data, and little memory.

#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "Children.h"
#include "Drain.h"

namespace {

constexpr std::size_t large = std::size_t{16} << 20;

std::atomic<std::size_t> failures{0};

void expect(bool isRight) {
    if (!isRight) ++failures;
}

void printFailures() {
    std::printf("failures: %zu\n", failures.load());
}

int connectTo(const sockaddr_in& server) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    expect(connect(client, probe::generic(server), sizeof(server)) == 0);
    return client;
}

// Every hundredth is a connection.
void manySockets() {
    constexpr int count = 15'000;
    const rlimit many = {count + 1000, count + 1000};
    expect(setrlimit(RLIMIT_NOFILE, &many) == 0);
    probe::Drain drain;
    drain.tellPortAs("SERVER");
    const sockaddr_in server = drain.address();
    std::vector<int> sockets;
    for (int i = 0; i < count; ++i) {
        sockets.push_back(i % 100 == 0 ? connectTo(server) : socket(AF_INET, SOCK_STREAM, 0));
        expect(sockets.back() >= 0);
    }
    for (std::size_t i = 0; i < sockets.size(); i += 100)
        expect(send(sockets[i], "m", 1, 0) == 1);
    for (const int fd : sockets)
        expect(close(fd) == 0);
    std::printf("arrived: %zu\n", drain.stop());
    printFailures();
}

void largePayloads() {
    constexpr int count = 8;
    probe::Drain drain;
    drain.tellPortAs("SERVER");
    const sockaddr_in server = drain.address();
    const std::vector<char> bytes(large, 'x');
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            const int client = connectTo(server);
            expect(send(client, bytes.data(), large, 0) == static_cast<ssize_t>(large));
            expect(close(client) == 0);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::printf("arrived: %zu\n", drain.stop());
    printFailures();
}

rlim_t addressSpaceInUse() {
    std::FILE* const file = std::fopen("/proc/self/statm", "re");
    unsigned long pages = 0;
    if (file == nullptr || std::fscanf(file, "%lu", &pages) != 1) std::abort();
    std::fclose(file);
    return pages * 4096;
}

void leaveRoom(rlim_t bytes) {
    rlimit space{};
    getrlimit(RLIMIT_AS, &space);
    space.rlim_cur = bytes == RLIM_INFINITY ? RLIM_INFINITY : addressSpaceInUse() + bytes;
    expect(setrlimit(RLIMIT_AS, &space) == 0);
}

// There is no room for the message of the second send.
void noRoomForMessage() {
    probe::Drain drain;
    drain.tellPortAs("SERVER");
    const int client = connectTo(drain.address());
    const std::vector<char> bytes(large, 'x');
    expect(send(client, "before", 6, 0) == 6);
    leaveRoom(large / 4);
    expect(send(client, bytes.data(), large, 0) == static_cast<ssize_t>(large));
    expect(send(client, "meanwhile", 9, 0) == 9);
    leaveRoom(RLIM_INFINITY);
    expect(send(client, "after", 5, 0) == 5);
    expect(close(client) == 0);
    std::printf("arrived: %zu\n", drain.stop());
    printFailures();
}

// The first calls of processes that have less and less memory.
void noRoomForStartUp() {
    probe::Drain drain;
    const sockaddr_in server = drain.address();
    std::fflush(stdout);
    for (rlim_t room = 0; room <= 4'000'000; room += room < 200'000 ? 8192 : 200'000) {
        const pid_t child = fork();
        if (child == 0) {
            leaveRoom(room);
            const int client = connectTo(server);
            expect(send(client, "data", 4, 0) == 4);
            expect(listen(-1, 1) == -1 && errno == EBADF);
            expect(close(client) == 0);
            _exit(failures == 0 ? 0 : 1);
        }
        const int status = probe::exitStatusOf(child);
        if (status != 0) std::printf("with room for %lu bytes: %d\n", room, status);
    }
    printFailures();
}

void limitFiles(rlim_t bytes) {
    rlimit size{};
    getrlimit(RLIMIT_FSIZE, &size);
    size.rlim_cur = bytes;
    expect(setrlimit(RLIMIT_FSIZE, &size) == 0);
}

// The trace file is there by then, and what waits to be written to it, some until the end.
void noRoomForTrace() {
    probe::Drain drain;
    drain.tellPortAs("SERVER");
    const sockaddr_in server = drain.address();
    limitFiles(0);
    for (int i = 0; i < 50; ++i)
        expect(close(connectTo(server)) == 0);
    const std::size_t arrived = drain.stop();
    limitFiles(RLIM_INFINITY);
    std::printf("arrived: %zu\n", arrived);
    printFailures();
    std::fflush(stdout);
    limitFiles(0);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"many-sockets", manySockets},
                               {"large-payloads", largePayloads},
                               {"no-room-for-message", noRoomForMessage},
                               {"no-room-for-start-up", noRoomForStartUp},
                               {"no-room-for-trace", noRoomForTrace}});
}
