// Calls of sendto and recvfrom.

#include "Client.h"

using probe::report;

namespace {

const char text[] = "hello";

void tellText() {
    probe::tellAddress("BUFFER", text);
}

template <typename Address>
void sendTo(int socket, const Address& to) {
    tellText();
    report("sendto", [&] { return sendto(socket, text, 5, 0, probe::generic(to), sizeof(to)); });
}

void sendToNobody(int socket) {
    tellText();
    report("sendto", [=] { return sendto(socket, text, 5, MSG_NOSIGNAL, nullptr, 0); });
}

void reportArrival(int socket) {
    char arrived[6] = {};
    syscall(SYS_recvfrom, socket, arrived, 5, MSG_WAITALL, nullptr, nullptr);
    std::printf("arrived: %s\n", arrived);
}

void streamSend() {
    const Client client = connectClient();
    sendTo(client.socket, probe::ipv4("10.0.0.2", 53));
    reportArrival(client.peer);
    sendTo(client.socket, probe::ipv6("2001:db8::1", 8080));
    reportArrival(client.peer);
}

void streamSendToNobody() {
    const Client client = connectClient();
    sendToNobody(client.socket);
    reportArrival(client.peer);
    shutdown(client.socket, SHUT_WR);
    sendToNobody(client.socket);
}

// Receives five bytes, with an area that already holds an address. Both are static: a trace must
// not show the address of something that was on the stack before.
void receiveFrom(int socket, socklen_t* length, int flags = 0) {
    static sockaddr_in6 storage;
    static char arrived[6];
    const sockaddr_in before = probe::ipv4("192.0.2.7", 7);
    std::memcpy(&storage, &before, sizeof(before));
    sockaddr* const area = probe::generic(storage);
    std::memset(arrived, 0, sizeof(arrived));
    probe::tellAddress("BUFFER", arrived);
    probe::tellAddress("AREA", area);
    report("recvfrom", [&] { return recvfrom(socket, arrived, 5, flags, area, length); });
    std::printf("received: %s\n", arrived);
    if (length != nullptr) std::printf("length: %u\n", *length);
}

void streamReceive() {
    const Client client = connectClient();
    peer::send(client.peer, text, 5);
    socklen_t length = 28;
    receiveFrom(client.socket, &length);
}

void streamReceiveShort() {
    const Client client = connectClient();
    peer::send(client.peer, text, 5);
    socklen_t length = 8;
    receiveFrom(client.socket, &length);
}

void streamReceiveWithoutLength() {
    const Client client = connectClient();
    peer::send(client.peer, text, 5);
    receiveFrom(client.socket, nullptr);
}

void streamReceiveWithoutArea() {
    const Client client = connectClient();
    peer::send(client.peer, text, 5);
    char arrived[6] = {};
    report("recvfrom", [&] { return recvfrom(client.socket, arrived, 5, 0, nullptr, nullptr); });
    std::printf("received: %s\n", arrived);
}

void streamReceiveNothing() {
    const Client client = connectClient();
    socklen_t length = 28;
    receiveFrom(client.socket, &length, MSG_DONTWAIT);
}

void streamEnd() {
    const Client client = connectClient();
    peer::finish(client.peer);
    socklen_t length = 28;
    receiveFrom(client.socket, &length);
}

int datagramSocket(int domain) {
    return probe::reportDescriptor("socket", [=] { return socket(domain, SOCK_DGRAM, 0); });
}

// Sends back to whoever sent.
void answer(int socket) {
    char arrived[6] = {};
    sockaddr_in6 from{};
    socklen_t length = sizeof(from);
    syscall(SYS_recvfrom, socket, arrived, 5, 0, &from, &length);
    std::printf("arrived: %s\n", arrived);
    syscall(SYS_sendto, socket, text, 5, 0, &from, length);
}

template <typename Address>
void askAndReceive(int domain, Address server, const Address& own) {
    const int answering = peer::bound(SOCK_DGRAM, own);
    socklen_t size = sizeof(server);
    syscall(SYS_getsockname, answering, &server, &size);
    const int asking = datagramSocket(domain);
    sendTo(asking, server);
    answer(answering);
    socklen_t length = 8;
    receiveFrom(asking, &length);
}

void datagrams() {
    askAndReceive(AF_INET, sockaddr_in{}, probe::ipv4("127.0.0.1", 0));
}

void datagramsIpv6() {
    askAndReceive(AF_INET6, sockaddr_in6{}, probe::ipv6("::1", 0));
}

void connectedDatagram() {
    const int server = peer::bound(SOCK_DGRAM, probe::ipv4("127.0.0.1", 0));
    const sockaddr_in address = probe::ipv4("127.0.0.1", peer::portOf(server));
    const int client = datagramSocket(AF_INET);
    syscall(SYS_connect, client, &address, sizeof(address));
    sendToNobody(client);
}

// A socket that was opened behind the agent's back.
void unknown() {
    const int server = peer::bound(SOCK_DGRAM, probe::ipv4("127.0.0.1", 0));
    const int client = peer::bound(SOCK_DGRAM, probe::ipv4("127.0.0.1", 0));
    sendTo(client, probe::ipv4("127.0.0.1", peer::portOf(server)));
    answer(server);
    socklen_t length = 16;
    receiveFrom(client, &length);
    sendTo(-1, probe::ipv4("127.0.0.1", 9));
    length = 16;
    receiveFrom(-1, &length);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"stream-send", streamSend},
                               {"stream-send-to-nobody", streamSendToNobody},
                               {"stream-receive", streamReceive},
                               {"stream-receive-short", streamReceiveShort},
                               {"stream-receive-without-length", streamReceiveWithoutLength},
                               {"stream-receive-without-area", streamReceiveWithoutArea},
                               {"stream-receive-nothing", streamReceiveNothing},
                               {"stream-end", streamEnd},
                               {"datagrams", datagrams},
                               {"datagrams-ipv6", datagramsIpv6},
                               {"connected-datagram", connectedDatagram},
                               {"unknown", unknown}});
}
