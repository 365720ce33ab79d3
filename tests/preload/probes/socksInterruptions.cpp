// Rerouted connects whose thread is interrupted by a signal handler, or cancelled, while the
// server, which is in this process, keeps it waiting.

#include <fcntl.h>
#include <sched.h>

#include <atomic>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "Asleep.h"
#include "Peer.h"
#include "Probe.h"

namespace {

const sockaddr_in destination = probe::ipv4("10.1.2.3", 80);
int client = -1;
std::atomic<bool> handled{false};
sigjmp_buf beforeConnect;

// Waits for the bytes and returns how many came.
long receiveAll(int connection, std::size_t count) {
    std::string bytes(count, '.');
    return syscall(SYS_recvfrom, connection, bytes.data(), count, MSG_WAITALL, nullptr, nullptr);
}

// In time: the agent reads the port with the first call of its own.
int listenAsServer() {
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    const std::string port = std::to_string(peer::portOf(listener));
    setenv("VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4", port.c_str(), 1);
    client = socket(AF_INET, SOCK_STREAM, 0);
    return listener;
}

int connectClient() {
    return connect(client, probe::generic(destination), sizeof(destination));
}

long acceptRequest(int connection) {
    peer::send(connection, "\5\0", 2);
    const long request = receiveAll(connection, 10);
    peer::send(connection, "\5\0\0\1\0\0\0\0\0\0", 10);
    return request;
}

void callEverything(int) {
    char byte = 'x';
    iovec piece = {&byte, 1};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    probe::report("send", [&] { return send(client, &byte, 1, 0); });
    probe::report("write", [&] { return write(client, &byte, 1); });
    probe::report("sendto", [&] { return sendto(client, &byte, 1, 0, nullptr, 0); });
    probe::report("sendmsg", [&] { return sendmsg(client, &message, 0); });
    probe::report("recv", [&] { return recv(client, &byte, 1, 0); });
    probe::report("read", [&] { return read(client, &byte, 1); });
    probe::report("recvfrom", [&] { return recvfrom(client, &byte, 1, 0, nullptr, nullptr); });
    probe::report("recvmsg", [&] { return recvmsg(client, &message, 0); });
    probe::report("connect", [&] { return connectClient(); });
    handled = true;
}

void jumpOut(int) {
    siglongjmp(beforeConnect, 1);
}

void handle(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);
}

void handlerCalls() {
    handle(&callEverything);
    const int listener = listenAsServer();
    const pthread_t connecting = pthread_self();
    long request = 0;
    long afterwards = 0;
    std::thread server([&] {
        const int connection = peer::accepted(listener);
        receiveAll(connection, 3);
        probe::waitUntilAsleep(getpid());
        pthread_kill(connecting, SIGUSR1);
        while (!handled)
            sched_yield();
        request = acceptRequest(connection);
        afterwards = receiveAll(connection, 4);
    });
    probe::report("rerouted", [] { return connectClient(); });
    probe::report("send", [] { return send(client, "late", 4, 0); });
    server.join();
    std::printf("request: %ld\nafterwards: %ld\n", request, afterwards);
}

void handlerJumps() {
    handle(&jumpOut);
    const int listener = listenAsServer();
    const pthread_t connecting = pthread_self();
    long afterTheJump = 0;
    std::thread server([&] {
        const int connection = peer::accepted(listener);
        receiveAll(connection, 3);
        probe::waitUntilAsleep(getpid());
        pthread_kill(connecting, SIGUSR1);
        afterTheJump = receiveAll(connection, 8);
    });
    if (sigsetjmp(beforeConnect, 1) == 0) connectClient();
    probe::report("send", [] { return send(client, "late", 4, 0); });
    std::thread other([] { probe::report("send", [] { return send(client, "last", 4, 0); }); });
    other.join();
    server.join();
    std::printf("after the jump: %ld\n", afterTheJump);
    int state = PTHREAD_CANCEL_DISABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
    std::printf("can be cancelled: %d\n", state == PTHREAD_CANCEL_ENABLE ? 1 : 0);
}

void* connectAndWait(void* id) {
    static_cast<std::atomic<pid_t>*>(id)->store(gettid());
    std::printf("rerouted: %d\n", connectClient());
    std::fflush(stdout);
    pthread_testcancel();
    return nullptr;
}

void cancelled() {
    const int listener = listenAsServer();
    fcntl(client, F_SETFL, O_RDWR | O_NONBLOCK);
    std::atomic<pid_t> id{0};
    pthread_t connecting{};
    pthread_create(&connecting, nullptr, &connectAndWait, &id);
    const int connection = peer::accepted(listener);
    receiveAll(connection, 3);
    probe::waitUntilAsleep(id);
    pthread_cancel(connecting);
    const long request = acceptRequest(connection);
    void* result = nullptr;
    pthread_join(connecting, &result);
    std::printf("request: %ld\n", request);
    std::printf("cancelled: %d\n", result == PTHREAD_CANCELED ? 1 : 0);
    std::printf("non-blocking: %d\n", (fcntl(client, F_GETFL) & O_NONBLOCK) != 0 ? 1 : 0);
    probe::report("send", [] { return send(client, "late", 4, 0); });
    std::printf("afterwards: %ld\n", receiveAll(connection, 4));
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"handler-calls", handlerCalls},
                               {"handler-jumps", handlerJumps},
                               {"cancelled", cancelled}});
}
