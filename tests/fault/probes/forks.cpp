// Children that use the agent at once, whatever the threads of their parent were doing.

#include <netdb.h>
#include <netinet/in.h>
#include <sys/prctl.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "Children.h"
#include "Drain.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds duration{1200};
constexpr int busyThreads = 3;
constexpr int childrenAtOnce = 4;

std::atomic<std::size_t> failures{0};

void expect(bool isRight) {
    if (!isRight) ++failures;
}

void announce() {
    expect(listen(-1, 1) == -1 && errno == EBADF);
}

void resolve() {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    expect(getaddrinfo("127.0.0.1", "80", &hints, &found) == 0);
    if (found != nullptr) freeaddrinfo(found);
}

// One conversation with a server that sends everything back.
void converse(const sockaddr_in& server, const char* text) {
    const std::size_t length = std::strlen(text);
    char answer[64] = "";
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    expect(connect(client, probe::generic(server), sizeof(server)) == 0);
    expect(send(client, text, length, 0) == static_cast<ssize_t>(length));
    expect(recv(client, answer, length, MSG_WAITALL) == static_cast<ssize_t>(length));
    expect(std::strcmp(answer, text) == 0);
    expect(close(client) == 0);
}

// Threads that make recorded calls from construction to the end of the scope.
class BusyThreads {
public:
    explicit BusyThreads(const sockaddr_in& server) {
        for (int i = 0; i < busyThreads; ++i) {
            threads_.push_back(probe::quietThread([this, server] {
                const int client = socket(AF_INET, SOCK_STREAM, 0);
                expect(connect(client, probe::generic(server), sizeof(server)) == 0);
                while (!ending_) {
                    expect(send(client, "p", 1, 0) == 1);
                    ++sends_;
                    const int other = socket(AF_INET, SOCK_STREAM, 0);
                    expect(close(other) == 0);
                }
                expect(close(client) == 0);
            }));
        }
        // A child that is forked before anybody called has an agent of its own.
        while (sends_ == 0)
            std::this_thread::yield();
    }
    ~BusyThreads() {
        ending_ = true;
        for (std::thread& thread : threads_)
            thread.join();
        std::printf("parent sends: %zu\n", sends_.load());
    }
    BusyThreads(const BusyThreads&) = delete;
    BusyThreads& operator=(const BusyThreads&) = delete;

private:
    std::atomic<bool> ending_{false};
    std::atomic<std::size_t> sends_{0};
    std::vector<std::thread> threads_;
};

template <typename Body>
pid_t forkChild(Body body) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    failures = 0;
    body();
    _exit(failures == 0 ? 0 : 1);
}

// Every other child leaves through exit(), which writes out what stdio still holds.
void talkAsChild(const sockaddr_in& server, std::size_t number) {
    converse(server, "c");
    resolve();
    announce();
    if (number % 2 == 0 && failures == 0) exit(0);
}

void printVerdict(std::size_t children) {
    std::printf("children: %zu\nfailures: %zu\n", children, failures.load());
}

void storm() {
    probe::Drain peer(true);
    peer.tellPortAs("SERVER");
    const sockaddr_in server = peer.address();
    close(socket(AF_INET, SOCK_STREAM, 0));
    std::size_t children = 0;
    {
        const BusyThreads threads(server);
        const auto end = steady_clock::now() + duration;
        while (failures == 0 && steady_clock::now() < end) {
            std::vector<pid_t> running;
            for (int i = 0; i < childrenAtOnce; ++i, ++children)
                running.push_back(forkChild([&] { talkAsChild(server, children); }));
            for (const pid_t child : running)
                expect(probe::exitStatusOf(child) == 0);
        }
    }
    printVerdict(children);
}

// Lines that wait to be written when the child begins, and lines of the child itself.
void bufferedLines() {
    announce();
    const pid_t child = forkChild([] {
        const sockaddr_un address = probe::local("nowhere");
        expect(bind(-1, probe::generic(address), sizeof(address)) == -1);
        exit(0);
    });
    expect(probe::exitStatusOf(child) == 0);
    announce();
    printVerdict(1);
}

// The first message waits in the parent, and all send at once.
void heldMessage() {
    constexpr int count = 8;
    close(socket(AF_INET, SOCK_STREAM, 0));
    int gate[2];
    expect(pipe(gate) == 0);
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(forkChild([&] {
            char nothing = 0;
            syscall(SYS_close, gate[1]);
            syscall(SYS_read, gate[0], &nothing, 1);
            announce();
        }));
    }
    syscall(SYS_close, gate[1]);
    announce();
    for (const pid_t child : children)
        expect(probe::exitStatusOf(child) == 0);
    announce();
    printVerdict(count);
}

// A child sends first and goes before its parent sends.
void heldMessageOfChild() {
    close(socket(AF_INET, SOCK_STREAM, 0));
    expect(probe::exitStatusOf(forkChild([] { announce(); })) == 0);
    announce();
    printVerdict(1);
}

// Processes whose first call is on its way when another of their threads forks.
void unfinishedStartUps() {
    constexpr std::size_t count = 100;
    for (std::size_t i = 0; i < count; ++i) {
        const pid_t family = forkChild([i] {
            std::atomic<bool> isStarting{false};
            std::thread starting([&] {
                isStarting = true;
                announce();
            });
            while (!isStarting) {
            }
            const auto forkTime = steady_clock::now() + std::chrono::nanoseconds(i * 250);
            while (steady_clock::now() < forkTime) {
            }
            const pid_t child = forkChild([] { announce(); });
            expect(probe::exitStatusOf(child) == 0);
            starting.join();
        });
        expect(probe::exitStatusOf(family) == 0);
    }
    printVerdict(count);
}

// Descriptors with a connection to the port.
int connectionsTo(in_port_t port) {
    int count = 0;
    for (int fd = 0; fd < 20'000; ++fd) {
        sockaddr_in other{};
        socklen_t length = sizeof(other);
        if (syscall(SYS_getpeername, fd, &other, &length) == 0 && ntohs(other.sin_port) == port)
            ++count;
    }
    return count;
}

void inheritedConnections() {
    constexpr std::size_t count = 60;
    const char* const port = std::getenv("VELTRA_SOCKET_AGENT_PORT_NUMBER");
    const auto recorder = static_cast<in_port_t>(port == nullptr ? 0 : std::atoi(port));
    probe::Drain peer;
    peer.tellPortAs("SERVER");
    {
        const BusyThreads threads(peer.address());
        for (std::size_t i = 0; i < count; ++i) {
            const pid_t child = forkChild([&] { expect(connectionsTo(recorder) == 0); });
            expect(probe::exitStatusOf(child) == 0);
        }
    }
    printVerdict(count);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"storm", storm},
                               {"buffered-lines", bufferedLines},
                               {"held-message", heldMessage},
                               {"held-message-of-child", heldMessageOfChild},
                               {"unfinished-start-ups", unfinishedStartUps},
                               {"inherited-connections", inheritedConnections}});
}
