// Threads that are cancelled in their calls, and what other threads can do afterwards.
//
// usage: cancellation WHERE TYPE     TYPE: deferred or asynchronous

#include <netdb.h>
#include <netinet/in.h>

#include <atomic>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "Descriptors.h"
#include "Drain.h"

namespace {

constexpr std::size_t hugeLength = std::size_t{16} << 20;

std::atomic<std::size_t> failures{0};
std::atomic<std::size_t> begun{0};
std::atomic<std::size_t> finished{0};
int cancelType = PTHREAD_CANCEL_DEFERRED;

void expect(bool isRight) {
    if (!isRight) ++failures;
}

int connectTo(const sockaddr_in& server) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    expect(connect(client, probe::generic(server), sizeof(server)) == 0);
    return client;
}

// A thread that makes the call and is cancelled when `delay` has passed. A plain thread: a thread
// object of the language ends the process when its body is cancelled.
class CancelledThread {
public:
    using Call = void (*)(int fd);

    CancelledThread(Call call, int fd) : call_(call), fd_(fd) {
        pthread_create(&thread_, nullptr, &run, this);
    }
    CancelledThread(const CancelledThread&) = delete;
    CancelledThread& operator=(const CancelledThread&) = delete;

    void cancelAfter(long microseconds) const {
        const timespec delay = {0, microseconds * 1000};
        nanosleep(&delay, nullptr);
        pthread_cancel(thread_);
        void* result = nullptr;
        pthread_join(thread_, &result);
        expect(result == PTHREAD_CANCELED);
    }

private:
    static void* run(void* object) {
        const auto& thread = *static_cast<CancelledThread*>(object);
        int before = 0;
        pthread_setcanceltype(cancelType, &before);
        thread.call_(thread.fd_);
        pause();
        return nullptr;
    }

    Call call_;
    int fd_;
    pthread_t thread_{};
};

char anything[64];

void readFrom(int fd) {
    read(fd, anything, sizeof(anything));
}

void receiveFrom(int fd) {
    recv(fd, anything, sizeof(anything), 0);
}

void receiveFromPeer(int fd) {
    recvfrom(fd, anything, sizeof(anything), 0, nullptr, nullptr);
}

// Not on the stack of the cancelled thread, which the address sanitizer would find in disorder.
iovec piece;
msghdr message;
fd_set descriptors;

msghdr* messageOf(char* bytes, std::size_t length) {
    piece = {bytes, length};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    return &message;
}

fd_set* only(int fd) {
    FD_ZERO(&descriptors);
    FD_SET(fd, &descriptors);
    return &descriptors;
}

void receiveMessage(int fd) {
    recvmsg(fd, messageOf(anything, sizeof(anything)), 0);
}

void selectFrom(int fd) {
    select(fd + 1, only(fd), nullptr, nullptr, nullptr);
}

void pselectFrom(int fd) {
    pselect(fd + 1, only(fd), nullptr, nullptr, nullptr, nullptr);
}

void acceptOn(int fd) {
    accept(fd, nullptr, nullptr);
}

sockaddr_in busyServer;

void connectToBusyServer(int fd) {
    connect(fd, probe::generic(busyServer), sizeof(busyServer));
}

char* huge = nullptr;

void sendMuch(int fd) {
    for (;;)
        send(fd, huge, 4096, 0);
}

void writeMuch(int fd) {
    for (;;)
        write(fd, huge, 4096);
}

void sendMuchTo(int fd) {
    for (;;)
        sendto(fd, huge, 4096, 0, nullptr, 0);
}

void sendManyMessages(int fd) {
    for (;;)
        sendmsg(fd, messageOf(huge, 4096), 0);
}

// Calls without end, so that the cancellation hits anywhere.
void callOnAndOn(int fd) {
    for (;;) {
        ++begun;
        send(fd, "s", 1, 0);
        ++finished;
        recv(fd, anything, 1, MSG_DONTWAIT);
        sockaddr_in own{};
        socklen_t length = sizeof(own);
        getsockname(fd, probe::generic(own), &length);
        pthread_testcancel();
    }
}

void sendHuge(int fd) {
    send(fd, huge, hugeLength, 0);
}

void useEveryHook(const sockaddr_in& server) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in any = probe::ipv4("127.0.0.1", 0);
    expect(bind(listener, probe::generic(any), sizeof(any)) == 0);
    expect(listen(listener, 8) == 0);
    const sockaddr_in own = probe::ipv4("127.0.0.1", peer::portOf(listener));
    const int other = peer::connected(own);
    const int accepted = accept(listener, nullptr, nullptr);
    expect(accepted >= 0);

    const int client = connectTo(server);
    char text[4] = "abc";
    expect(send(client, text, 3, 0) == 3);
    expect(recv(client, text, 3, MSG_WAITALL) == 3);
    expect(sendto(client, text, 3, 0, nullptr, 0) == 3);
    expect(recvfrom(client, text, 3, MSG_WAITALL, nullptr, nullptr) == 3);
    expect(sendmsg(client, messageOf(text, 3), 0) == 3);
    expect(recvmsg(client, messageOf(text, 3), MSG_WAITALL) == 3);
    expect(write(client, text, 1) == 1);
    expect(read(client, text, 1) == 1);

    int value = 1;
    socklen_t length = sizeof(value);
    sockaddr_in name{};
    socklen_t nameLength = sizeof(name);
    timeval now = {0, 0};
    const timespec sameNow = {0, 0};
    expect(setsockopt(client, SOL_SOCKET, SO_KEEPALIVE, &value, sizeof(value)) == 0);
    expect(getsockopt(client, SOL_SOCKET, SO_KEEPALIVE, &value, &length) == 0 && value == 1);
    expect(getsockname(client, probe::generic(name), &nameLength) == 0);
    expect(getpeername(client, probe::generic(name), &nameLength) == 0);
    expect(select(0, nullptr, nullptr, nullptr, &now) == 0);
    expect(pselect(0, nullptr, nullptr, nullptr, &sameNow, nullptr) == 0);
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    expect(getaddrinfo("127.0.0.1", nullptr, &hints, &found) == 0);
    freeaddrinfo(found);
    expect(close(client) == 0 && close(accepted) == 0 && close(listener) == 0);
    syscall(SYS_close, other);
}

struct Place {
    std::string_view name;
    CancelledThread::Call call;
    int rounds;
    long delay;
};

constexpr Place places[] = {
    {"read", &readFrom, 25, 2000},
    {"recv", &receiveFrom, 25, 2000},
    {"recvfrom", &receiveFromPeer, 25, 2000},
    {"recvmsg", &receiveMessage, 25, 2000},
    {"select", &selectFrom, 25, 2000},
    {"pselect", &pselectFrom, 25, 2000},
    {"accept", &acceptOn, 25, 2000},
    {"connect", &connectToBusyServer, 25, 2000},
    {"send", &sendMuch, 10, 20'000},
    {"write", &writeMuch, 10, 20'000},
    {"sendto", &sendMuchTo, 10, 20'000},
    {"sendmsg", &sendManyMessages, 10, 20'000},
    {"anywhere", &callOnAndOn, 400, 0},
    {"stuck-recorder", &sendHuge, 1, 100'000},
};

// So that it does not take much to fill them.
void makeBuffersSmall(int fd) {
    const int smallest = 1;
    syscall(SYS_setsockopt, fd, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof(smallest));
    syscall(SYS_setsockopt, fd, SOL_SOCKET, SO_RCVBUF, &smallest, sizeof(smallest));
}

// A listener whose queue has no room any more.
int listenWithFullQueue(std::vector<int>& queued) {
    const int listener = peer::bound(SOCK_STREAM, probe::ipv4("127.0.0.1", 0));
    syscall(SYS_listen, listener, 0);
    busyServer = probe::ipv4("127.0.0.1", peer::portOf(listener));
    for (int i = 0; i < 4; ++i) {
        queued.push_back(
            peer::moveAway(syscall(SYS_socket, AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)));
        syscall(SYS_connect, queued.back(), &busyServer, sizeof(busyServer));
    }
    return listener;
}

// The descriptor that the call is made on.
int openFor(std::string_view place, const probe::Drain& echo, int silentListener) {
    const sockaddr_in silent = probe::ipv4("127.0.0.1", peer::portOf(silentListener));
    if (place == "anywhere" || place == "stuck-recorder") return connectTo(echo.address());
    if (place != "accept" && place != "connect") {
        const int client = connectTo(silent);
        makeBuffersSmall(client);
        return client;
    }
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (place == "accept") {
        const sockaddr_in any = probe::ipv4("127.0.0.1", 0);
        expect(bind(fd, probe::generic(any), sizeof(any)) == 0 && listen(fd, 8) == 0);
    }
    return fd;
}

void cancelThreads(const Place& place) {
    const probe::Drain echo(place.name != "stuck-recorder");
    const int silentListener = peer::listening(probe::ipv4("127.0.0.1", 0));
    makeBuffersSmall(silentListener);
    std::vector<int> queued;
    if (place.name == "connect") queued.push_back(listenWithFullQueue(queued));
    for (int round = 0; round < place.rounds; ++round) {
        const int fd = openFor(place.name, echo, silentListener);
        const CancelledThread thread(place.call, fd);
        thread.cancelAfter(place.delay + round * 37 % 1000);
        expect(close(fd) == 0);
    }
    if (place.name != "stuck-recorder") useEveryHook(echo.address());
    syscall(SYS_close, silentListener);
    for (const int fd : queued)
        syscall(SYS_close, fd);
}

void cancelIn(const Place& place) {
    huge = static_cast<char*>(std::malloc(hugeLength));
    std::memset(huge, 'x', hugeLength);
    listen(-1, 1);
    const std::vector<int> before = probe::openDescriptors();
    cancelThreads(place);
    const bool isSame = probe::openDescriptors() == before;
    std::printf("descriptors: %s\n", isSame ? "the same" : "others");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    probe::tellProcess();
    if (std::string_view(argv[2]) == "asynchronous") cancelType = PTHREAD_CANCEL_ASYNCHRONOUS;
    for (const Place& place : places) {
        if (place.name == argv[1]) cancelIn(place);
    }
    std::printf("failures: %zu\n", failures.load());
    if (begun > 0) std::printf("begun: %zu\nfinished: %zu\n", begun.load(), finished.load());
    return 0;
}
