// Threads that open, connect, accept and close without end, so that numbers go from one to another.

#include <fcntl.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Drain.h"

namespace {

constexpr int threadCount = 6;

std::atomic<std::size_t> failures{0};
sockaddr_in server;

void expect(bool isRight) {
    if (!isRight) ++failures;
}

int connectClient(const sockaddr_in& address) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    expect(connect(client, probe::generic(address), sizeof(address)) == 0);
    return client;
}

// A connection with one message in each call.
void talkOnce() {
    const int client = connectClient(server);
    expect(send(client, "t", 1, 0) == 1);
    expect(close(client) == 0);
}

// A server, its client, and two accepted connections, of which the first is recorded.
void serveTwice() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in any = probe::ipv4("127.0.0.1", 0);
    expect(bind(listener, probe::generic(any), sizeof(any)) == 0);
    expect(listen(listener, 8) == 0);
    const sockaddr_in own = probe::ipv4("127.0.0.1", peer::portOf(listener));
    const int first = peer::connected(own);
    const int second = peer::connected(own);
    const int firstAccepted = accept(listener, nullptr, nullptr);
    const int secondAccepted = accept(listener, nullptr, nullptr);
    expect(firstAccepted >= 0 && secondAccepted >= 0);
    expect(close(firstAccepted) == 0 && close(secondAccepted) == 0 && close(listener) == 0);
    syscall(SYS_close, first);
    syscall(SYS_close, second);
}

// Sockets and files that come and go unrecorded.
void openAndClose() {
    const int unused = socket(AF_INET, SOCK_STREAM, 0);
    const int file = open("/dev/null", O_WRONLY);
    expect(write(file, "n", 1) == 1);
    expect(close(unused) == 0 && close(file) == 0);
}

// The next socket with its number has none of its marks.
void closeUnseen() {
    const int unseen = connectClient(server);
    expect(send(unseen, "u", 1, 0) == 1);
    syscall(SYS_close, unseen);
    expect(close(socket(AF_INET, SOCK_STREAM, 0)) == 0);
}

template <typename Round>
void churn(int rounds, Round round) {
    probe::Drain drain;
    drain.tellPortAs("SERVER");
    server = drain.address();
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([=] {
            for (int count = 0; count < rounds; ++count)
                round();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::printf("rounds: %d\nfailures: %zu\n", threadCount * rounds, failures.load());
}

void everything() {
    churn(80, [] {
        talkOnce();
        serveTwice();
        openAndClose();
    });
}

void unseenCloses() {
    churn(150, &closeUnseen);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"everything", everything}, {"unseen-closes", unseenCloses}});
}
