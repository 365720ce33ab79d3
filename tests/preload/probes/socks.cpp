// Connects that are rerouted through a SOCKS server, and what follows on their sockets.

#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "Answers.h"
#include "Asleep.h"
#include "Peer.h"

using probe::report;

namespace {

int open(int family = AF_INET) {
    return probe::reportDescriptor("socket", [=] { return socket(family, SOCK_STREAM, 0); });
}

// Static, because its address shows in the trace.
const sockaddr_in& destination() {
    static const sockaddr_in address = probe::ipv4("10.1.2.3", 80);
    probe::tellAddress("DESTINATION", &address);
    return address;
}

template <typename Address>
void connectTo(int client, const Address& address) {
    report("connect", [&] { return connect(client, probe::generic(address), sizeof(address)); });
    probe::tellPort("LOCAL", peer::portOf(client));
}

int connectToDestination() {
    const sockaddr_in& address = destination();
    const int client = open();
    connectTo(client, address);
    return client;
}

void closeIt(int client) {
    report("close", [=] { return close(client); });
}

void connectAndClose() {
    closeIt(connectToDestination());
}

// The agent cannot close the socket.
void closeFails() {
    const sockaddr_in& address = destination();
    const int client = open();
    probe::answerNext("close", client, -1, EBADF);
    connectTo(client, address);
    closeIt(client);
}

// The agent's connect does not come to an end; its second one does.
void connectPending() {
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    const sockaddr_in server = probe::ipv4("127.0.0.1", peer::portOf(listener));
    probe::tellPort("SERVER", peer::portOf(listener));
    probe::tellAddress("DESTINATION", &server);
    const int client = open();
    probe::answerNext("connect", client, -1, EINPROGRESS);
    connectTo(client, server);
    closeIt(client);
}

void connectIpv6() {
    const sockaddr_in6 address = probe::ipv6("2001:db8::12:7", 443);
    probe::tellAddress("DESTINATION", &address);
    const int client = open(AF_INET6);
    connectTo(client, address);
    sockaddr_in6 peer{};
    socklen_t length = sizeof(peer);
    report("getpeername", [&] { return getpeername(client, probe::generic(peer), &length); });
    std::printf("peer is the destination: %d\n", std::memcmp(&peer, &address, length) == 0 ? 1 : 0);
    closeIt(client);
}

void exchange() {
    const int client = connectToDestination();
    const char* const ping = "ping";
    probe::tellAddress("SENT", ping);
    report("send", [=] { return send(client, ping, 4, 0); });
    char answer[5] = "";
    probe::tellAddress("RECEIVED", answer);
    report("recv", [&] { return recv(client, answer, 4, MSG_WAITALL); });
    std::printf("answer: %s\n", answer);
    closeIt(client);
}

// Asks for the peer with this many bytes of room.
void reportPeer(int client, socklen_t length) {
    sockaddr_in6 address;
    std::memset(&address, 0xEE, sizeof(address));
    report("getpeername", [&] { return getpeername(client, probe::generic(address), &length); });
    const auto& ipv4 = reinterpret_cast<const sockaddr_in&>(address);
    std::printf("peer: %u %d %08x %04x\n", unsigned{length}, int{ipv4.sin_family},
                ntohl(ipv4.sin_addr.s_addr), unsigned{ntohs(ipv4.sin_port)});
}

void askForThePeer() {
    const int client = connectToDestination();
    reportPeer(client, 16);
    reportPeer(client, 28);
    reportPeer(client, 15);
    reportPeer(client, 0);
    socklen_t length = 16;
    report("getpeername", [&] { return getpeername(client, nullptr, &length); });
    sockaddr_in address{};
    report("getpeername", [&] { return getpeername(client, probe::generic(address), nullptr); });
}

// Waits for the bytes and returns them.
std::string received(int connection, std::size_t count) {
    std::string bytes(count, '.');
    syscall(SYS_recvfrom, connection, bytes.data(), count, MSG_WAITALL, nullptr, nullptr);
    return bytes;
}

// The first thread connects, another sends while the server, which is in this process, keeps it
// waiting.
void sendDuringConnect() {
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    const std::string port = std::to_string(peer::portOf(listener));
    probe::tellPort("SERVER", peer::portOf(listener));
    // In time: the agent reads it with the first call of its own.
    setenv("VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4", port.c_str(), 1);
    const sockaddr_in& address = destination();
    const char* const text = "late";
    probe::tellAddress("SENT", text);
    const int client = open();
    ssize_t sent = 0;
    std::atomic<pid_t> senderId{0};
    std::string first;
    std::string afterwards;
    std::thread server([&] {
        const int connection = peer::accepted(listener);
        first = received(connection, 3);
        probe::waitUntilAsleep(getpid());
        std::thread sender([&] {
            senderId.store(gettid());
            sent = send(client, text, 4, 0);
        });
        while (senderId.load() == 0)
            sched_yield();
        probe::waitUntilAsleep(senderId.load());
        peer::send(connection, "\5\0", 2);
        first += received(connection, 10);
        peer::send(connection, "\5\0\0\1\0\0\0\0\0\0", 10);
        sender.join();
        afterwards = received(connection, 4);
    });
    report("connect", [&] { return connect(client, probe::generic(address), sizeof(address)); });
    probe::tellPort("LOCAL", peer::portOf(client));
    server.join();
    std::printf("sent: %ld\narrived:", static_cast<long>(sent));
    for (const char byte : first)
        std::printf(" %02x", static_cast<unsigned char>(byte));
    std::printf(" %s\n", afterwards.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"connect", connectAndClose},
                               {"close-fails", closeFails},
                               {"pending", connectPending},
                               {"ipv6", connectIpv6},
                               {"exchange", exchange},
                               {"peer", askForThePeer},
                               {"send-during-connect", sendDuringConnect}});
}
