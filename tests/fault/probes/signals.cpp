// Thousands of signals a second whose handler makes calls, while every thread makes calls of its
// own.
//
// usage: signals WORK THREADS     WORK: what the handler does besides writing to its pipe

#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

#include "Drain.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds duration{1200};
constexpr timespec timerPeriod = {0, 200'000};
constexpr timespec killPeriod = {0, 100'000};

// How many times a handler does more than writing to its pipe. The rest of the time belongs to the
// program, however fast signals come.
constexpr int mostWork = 1500;
constexpr int signalsPerWork = 8;

enum class Work { pipeOnly, sameSocket, newSocket };

struct Counts {
    std::atomic<std::size_t> handled{0};
    std::atomic<std::size_t> pipeWrites{0};
    std::atomic<std::size_t> mainSends{0};
    std::atomic<std::size_t> mainWrites{0};
    std::atomic<std::size_t> mainListens{0};
    std::atomic<std::size_t> handlerSends{0};
    std::atomic<std::size_t> handlerConnects{0};
    std::atomic<std::size_t> failures{0};
};

Counts counts;
Work work = Work::pipeOnly;
int pipeEnd = -1;
sockaddr_in server;
std::atomic<int> worked{0};
thread_local int ownSocket = -1;
thread_local int handledHere = 0;

void expect(bool isRight) {
    if (!isRight) ++counts.failures;
}

void openConnection() {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    expect(connect(client, probe::generic(server), sizeof(server)) == 0);
    expect(close(client) == 0);
    ++counts.handlerConnects;
}

void doWork() {
    switch (work) {
        case Work::pipeOnly:
            break;
        case Work::sameSocket:
            if (ownSocket == -1) return;
            expect(send(ownSocket, "h", 1, 0) == 1);
            ++counts.handlerSends;
            break;
        case Work::newSocket:
            openConnection();
            break;
    }
}

void onSignal(int) {
    const int error = errno;
    ++counts.handled;
    if (write(pipeEnd, "h", 1) == 1) ++counts.pipeWrites;
    if (++handledHere % signalsPerWork == 0 && worked.fetch_add(1) < mostWork) doWork();
    errno = error;
}

void installHandler() {
    struct sigaction action {};
    action.sa_handler = &onSignal;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigaction(SIGUSR1, &action, nullptr);
}

timer_t startTimer() {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    timer_t timer{};
    timer_create(CLOCK_MONOTONIC, &event, &timer);
    const itimerspec times = {timerPeriod, timerPeriod};
    timer_settime(timer, 0, &times, nullptr);
    return timer;
}

void talk(const std::atomic<bool>& ending) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    expect(connect(client, probe::generic(server), sizeof(server)) == 0);
    ownSocket = client;
    char nothing = 0;
    while (!ending) {
        expect(send(client, "m", 1, 0) == 1);
        ++counts.mainSends;
        expect(write(client, "w", 1) == 1);
        ++counts.mainWrites;
        expect(recv(client, &nothing, 1, MSG_DONTWAIT) == -1 && errno == EAGAIN);
        expect(listen(-1, 1) == -1 && errno == EBADF);
        ++counts.mainListens;
    }
    ownSocket = -1;
    expect(close(client) == 0);
}

void print(const char* name, const std::atomic<std::size_t>& count) {
    std::printf("%s: %zu\n", name, count.load());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::string_view name = argv[1];
    work = name == "same-socket"  ? Work::sameSocket
           : name == "new-socket" ? Work::newSocket
                                  : Work::pipeOnly;
    probe::tellProcess();
    probe::Drain drain;
    drain.tellPortAs("SERVER");
    server = drain.address();

    int ends[2];
    if (pipe(ends) != 0) return 2;
    pipeEnd = ends[1];
    std::size_t pipeReads = 0;
    std::thread pipeReader = probe::quietThread([&] {
        char bytes[4096];
        long count = 0;
        while ((count = syscall(SYS_read, ends[0], bytes, sizeof(bytes))) > 0)
            pipeReads += static_cast<std::size_t>(count);
    });

    installHandler();
    const timer_t timer = startTimer();
    std::atomic<bool> ending{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < std::atoi(argv[2]); ++i)
        threads.emplace_back([&] { talk(ending); });
    std::thread killer = probe::quietThread([&] {
        const auto end = steady_clock::now() + duration;
        while (steady_clock::now() < end) {
            for (std::thread& thread : threads)
                pthread_kill(thread.native_handle(), SIGUSR1);
            nanosleep(&killPeriod, nullptr);
        }
        ending = true;
    });
    killer.join();
    for (std::thread& thread : threads)
        thread.join();
    timer_delete(timer);
    signal(SIGALRM, SIG_IGN);
    close(ends[1]);
    pipeReader.join();

    print("handled", counts.handled);
    print("pipe writes", counts.pipeWrites);
    std::printf("pipe reads: %zu\n", pipeReads);
    print("sends", counts.mainSends);
    print("writes", counts.mainWrites);
    print("listens", counts.mainListens);
    print("handler sends", counts.handlerSends);
    print("handler connects", counts.handlerConnects);
    std::printf("arrived: %zu\n", drain.stop());
    print("failures", counts.failures);
    return 0;
}
