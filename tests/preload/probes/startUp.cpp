// First calls of a process, start-up's second run, and the end.

#include <fcntl.h>

#include <atomic>
#include <barrier>
#include <csignal>
#include <thread>
#include <vector>

#include "Answers.h"
#include "Peer.h"

using probe::answerNext;
using probe::report;
using probe::reportDescriptor;

namespace {

int openTcp() {
    return reportDescriptor("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
}

// A call that sends a message whatever its result.
void announce() {
    report("listen", [] { return listen(-1, 8); });
}

void socketFirst() {
    openTcp();
}

void failureFirst() {
    announce();
}

void readFileFirst() {
    char text[4] = "";
    const int file = ::open("/proc/self/cmdline", O_RDONLY);
    report("read", [&] { return read(file, text, 1); });
    std::printf("read: %s\n", text);
    openTcp();
}

void callEnd() {
    report("end", probe::exported<int (*)()>("end"));
}

void endTwice() {
    openTcp();
    callEnd();
    callEnd();
    announce();
}

void endFirst() {
    callEnd();
    openTcp();
}

void secondStage() {
    const int server = openTcp();
    probe::exported<void (*)()>("cleanSocketPointers")();
    const sockaddr_un address = probe::local("server");
    report("bind", [&] { return bind(server, probe::generic(address), sizeof(address)); });
}

// Every thread opens a connection as its first call, and closes it when all are open.
void manyThreads() {
    constexpr int count = 16;
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    probe::tellPort("SERVER", peer::portOf(listener));
    const sockaddr_in server = probe::ipv4("127.0.0.1", peer::portOf(listener));
    std::barrier together{count};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            together.arrive_and_wait();
            const int client = socket(AF_INET, SOCK_STREAM, 0);
            failures += connect(client, probe::generic(server), sizeof(server)) != 0;
            together.arrive_and_wait();
            failures += close(client) != 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::printf("failures: %d\n", failures.load());
}

// Deliveries that fail at each of their steps.
void lostMessages() {
    openTcp();
    answerNext("socket", -1, -1, EMFILE);
    announce();
    answerNext("connect", -1, -1, ETIMEDOUT);
    announce();
    answerNext("send", -1, -1, ECONNRESET);
    announce();
    announce();
}

// A delivery whose real send raises a signal.
void brokenPipe() {
    openTcp();
    answerNext("connect", -1, 0, probe::untouched);
    announce();
    sigset_t pending;
    sigpending(&pending);
    std::printf("pending: %d\n", sigismember(&pending, SIGPIPE));
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"socket-first", socketFirst},
                               {"failure-first", failureFirst},
                               {"read-file-first", readFileFirst},
                               {"end-twice", endTwice},
                               {"end-first", endFirst},
                               {"second-stage", secondStage},
                               {"many-threads", manyThreads},
                               {"lost-messages", lostMessages},
                               {"broken-pipe", brokenPipe}});
}
