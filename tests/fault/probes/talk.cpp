// A conversation that must not notice what becomes of its recording.

#include <netdb.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "Descriptors.h"
#include "Drain.h"

using probe::report;

namespace {

using std::chrono::steady_clock;

// How long a message may hold a call. The first call may have to wait for two messages.
constexpr std::chrono::seconds longestHold{10};

std::atomic<int> signals{0};
std::atomic<int> messagesOfCall{2};

// Makes the call and prints what it gave, and whether it took too long.
template <typename Call>
auto timed(const char* name, Call&& call) {
    const auto begin = steady_clock::now();
    const auto result = report(name, call);
    if (steady_clock::now() - begin > messagesOfCall.exchange(1) * longestHold)
        std::printf("held for too long\n");
    return result;
}

void countSignals() {
    for (int number = 1; number < 32; ++number) {
        if (number != SIGKILL && number != SIGSTOP && number != SIGSEGV)
            signal(number, [](int) { ++signals; });
    }
}

void announce() {
    timed("listen", [] { return listen(-1, 1); });
}

void converse(const sockaddr_in& server, std::size_t length) {
    const std::string text(length, 'x');
    std::string answer(length, '\0');
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    timed("getaddrinfo", [&] { return getaddrinfo("127.0.0.1", nullptr, &hints, &found); });
    freeaddrinfo(found);
    const int client = timed("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
    timed("connect", [&] { return connect(client, probe::generic(server), sizeof(server)); });
    timed("send", [&] { return send(client, text.data(), length, 0); });
    timed("recv", [&] { return recv(client, answer.data(), length, MSG_WAITALL); });
    std::printf("the same: %d\n", text == answer ? 1 : 0);
    timed("close", [=] { return close(client); });
}

// Some messages of every kind.
void small() {
    const probe::Drain echo(true);
    for (int i = 0; i < 3; ++i)
        converse(echo.address(), 4096);
}

// One message that no buffer of the system takes.
void large() {
    probe::Drain drain;
    const sockaddr_in server = drain.address();
    const std::string text(std::size_t{16} << 20, 'x');
    const int client = timed("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
    timed("connect", [&] { return connect(client, probe::generic(server), sizeof(server)); });
    timed("send", [&] { return send(client, text.data(), text.size(), 0); });
    timed("close", [=] { return close(client); });
    std::printf("arrived: %zu\n", drain.stop());
}

void one() {
    announce();
}

// Every thread has one message.
void manyAtOnce() {
    constexpr int count = 8;
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            const auto begin = steady_clock::now();
            if (listen(-1, 1) == -1 && errno == EBADF) ++right;
            if (steady_clock::now() - begin > 2 * longestHold) --right;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::printf("right: %d\n", right.load());
}

}  // namespace

int main(int argc, char** argv) {
    close(socket(AF_INET, SOCK_STREAM, 0));
    const std::vector<int> before = probe::openDescriptors();
    countSignals();
    const int status = probe::runScenario(
        argc, argv,
        {{"small", small}, {"large", large}, {"one", one}, {"many-at-once", manyAtOnce}});
    const bool isSame = probe::openDescriptors() == before;
    std::printf("descriptors: %s\nsignals: %d\n", isSame ? "the same" : "others", signals.load());
    return status;
}
