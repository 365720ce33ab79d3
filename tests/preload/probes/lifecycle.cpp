// Calls that make, name and end sockets.

#include <cstddef>

#include "Answers.h"
#include "Peer.h"

using probe::answerNext;
using probe::report;
using probe::reportDescriptor;

namespace {

int open(int domain, int type, int protocol) {
    return reportDescriptor("socket", [=] { return socket(domain, type, protocol); });
}

int openTcp() {
    return open(AF_INET, SOCK_STREAM, 0);
}

template <typename Address>
void bindTo(int socket, const Address& address) {
    report("bind", [&] { return bind(socket, probe::generic(address), sizeof(address)); });
}

void listenOn(int socket) {
    report("listen", [=] { return listen(socket, 8); });
}

void closeIt(int socket) {
    report("close", [=] { return close(socket); });
}

// Sockets of every kind that needs no privilege, and those that fail.
void everySocket() {
    open(AF_INET, SOCK_STREAM, 0);
    open(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, IPPROTO_TCP);
    open(AF_INET6, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    open(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    open(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    open(AF_UNIX, SOCK_SEQPACKET, 0);
    open(AF_NETLINK, SOCK_RAW, 0);
    open(AF_INET, SOCK_STREAM, IPPROTO_UDP);
    open(AF_INET, SOCK_RDM, 0);
    open(AF_INET, 7, 3);
    open(33, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 113);
    open(-1, SOCK_PACKET, 255);
}

void socketOfAnswer() {
    answerNext("socket", -1, -1, EMFILE);
    openTcp();
    answerNext("socket", -1, 0, probe::untouched);
    const int zero = openTcp();
    closeIt(zero);
}

void bindToAnyPort() {
    const int server = openTcp();
    bindTo(server, probe::ipv4("127.0.0.1", 0));
    probe::tellPort("ASSIGNED", peer::portOf(server));
    const int other = open(AF_INET6, SOCK_STREAM, 0);
    bindTo(other, probe::ipv6("::1", 0));
    probe::tellPort("ASSIGNED6", peer::portOf(other));
    closeIt(server);
    closeIt(other);
}

void bindToTakenPort() {
    const int holder = peer::listening(probe::ipv4("127.0.0.1", 0));
    probe::tellPort("TAKEN", peer::portOf(holder));
    const int server = openTcp();
    bindTo(server, probe::ipv4("127.0.0.1", peer::portOf(holder)));
    bindTo(server, probe::ipv4("127.0.0.1", 0));
    probe::tellPort("ASSIGNED", peer::portOf(server));
    closeIt(server);
}

void bindToForeignAddress() {
    bindTo(open(AF_INET6, SOCK_STREAM, 0), probe::ipv6("2001:db8::a0", 8080));
}

void bindLocal() {
    const int server = open(AF_UNIX, SOCK_STREAM, 0);
    bindTo(server, probe::local("server"));
    bindTo(server, probe::local("server"));
    listenOn(server);
    closeIt(server);
}

void bindUnknown() {
    bindTo(-1, probe::ipv4("127.0.0.1", 4711));
    bindTo(0, probe::ipv4("127.0.0.1", 4711));
}

void bindWithoutAddress() {
    const int server = openTcp();
    const sockaddr_in address = probe::ipv4("127.0.0.1", 4711);
    report("bind", [=] { return bind(server, nullptr, sizeof(sockaddr_in)); });
    report("bind", [&] { return bind(server, probe::generic(address), 1); });
}

void bindDatagram() {
    const int server = open(AF_INET, SOCK_DGRAM, 0);
    bindTo(server, probe::ipv4("0.0.0.0", 0));
    probe::tellPort("ASSIGNED", peer::portOf(server));
    closeIt(server);
}

void bindWithoutName() {
    const int server = openTcp();
    answerNext("getsockname", server, -1, EAGAIN);
    bindTo(server, probe::ipv4("127.0.0.1", 0));
    const int other = openTcp();
    answerNext("getsockname", other, -1, ENOBUFS);
    bindTo(other, probe::ipv4("127.0.0.1", 0));
}

void listening() {
    const int server = openTcp();
    listenOn(server);
    listenOn(-1);
    listenOn(open(AF_INET, SOCK_DGRAM, 0));
}

struct Server {
    int socket;
    sockaddr_in address;
};

// Binds and listens with the first three calls.
Server startServer() {
    const int server = openTcp();
    bindTo(server, probe::ipv4("127.0.0.1", 0));
    listenOn(server);
    probe::tellPort("SERVER", peer::portOf(server));
    return {server, probe::ipv4("127.0.0.1", peer::portOf(server))};
}

void tellAcceptArguments(const void* address, const void* length) {
    probe::tellAddress("ADDRESS", address);
    probe::tellAddress("LENGTH", length);
}

// Accepts with a length of `length` and prints what came back.
int acceptWithLength(int server, socklen_t length) {
    sockaddr_storage address{};
    tellAcceptArguments(&address, &length);
    const int accepted = reportDescriptor(
        "accept", [&] { return accept(server, probe::generic(address), &length); });
    std::printf("length %u family %u\n", length, unsigned{address.ss_family});
    return accepted;
}

void acceptOne() {
    const Server server = startServer();
    const int client = peer::connected(server.address);
    probe::tellPort("CLIENT", peer::portOf(client));
    const int accepted = acceptWithLength(server.socket, sizeof(sockaddr_storage));
    closeIt(accepted);
    closeIt(server.socket);
}

void acceptTwo() {
    const Server server = startServer();
    const int first = peer::connected(server.address);
    peer::connected(server.address);
    probe::tellPort("CLIENT", peer::portOf(first));
    acceptWithLength(server.socket, sizeof(sockaddr_in));
    acceptWithLength(server.socket, sizeof(sockaddr_in));
}

void acceptWithoutArguments() {
    const Server server = startServer();
    probe::tellPort("CLIENT", peer::portOf(peer::connected(server.address)));
    reportDescriptor("accept", [&] { return accept(server.socket, nullptr, nullptr); });
}

void acceptWithoutAddress() {
    const Server server = startServer();
    probe::tellPort("CLIENT", peer::portOf(peer::connected(server.address)));
    socklen_t length = 128;
    probe::tellAddress("LENGTH", &length);
    reportDescriptor("accept", [&] { return accept(server.socket, nullptr, &length); });
}

void acceptWithoutLength() {
    const Server server = startServer();
    probe::tellPort("CLIENT", peer::portOf(peer::connected(server.address)));
    sockaddr_storage address{};
    probe::tellAddress("ADDRESS", &address);
    errno = probe::untouched;
    const int accepted = accept(server.socket, probe::generic(address), nullptr);
    std::printf("accept: %s errno %d family %u\n", accepted >= 0 ? "descriptor" : "failed", errno,
                unsigned{address.ss_family});
}

void acceptShort(socklen_t length) {
    const Server server = startServer();
    probe::tellPort("CLIENT", peer::portOf(peer::connected(server.address)));
    sockaddr_storage address{};
    tellAcceptArguments(&address, nullptr);
    errno = probe::untouched;
    const int accepted = accept(server.socket, probe::generic(address), &length);
    std::printf("accept: %s errno %d length %u\n", accepted >= 0 ? "descriptor" : "failed", errno,
                length);
}

void acceptShort0() {
    acceptShort(0);
}

void acceptShort15() {
    acceptShort(15);
}

void acceptIpv6(bool withArguments) {
    const int server = open(AF_INET6, SOCK_STREAM, 0);
    bindTo(server, probe::ipv6("::1", 0));
    listenOn(server);
    probe::tellPort("SERVER", peer::portOf(server));
    const int client = peer::connected(probe::ipv6("::1", peer::portOf(server)));
    probe::tellPort("CLIENT", peer::portOf(client));
    if (withArguments) {
        acceptWithLength(server, sizeof(sockaddr_in6));
    } else {
        reportDescriptor("accept", [&] { return accept(server, nullptr, nullptr); });
    }
}

void acceptIpv6Whole() {
    acceptIpv6(true);
}

void acceptIpv6WithoutArguments() {
    acceptIpv6(false);
}

void acceptLocal() {
    const int server = open(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = probe::local("server");
    bindTo(server, address);
    listenOn(server);
    peer::connected(address);
    acceptWithLength(server, sizeof(sockaddr_un));
    closeIt(server);
}

void acceptUnknown() {
    const int server = peer::listening(probe::ipv4("127.0.0.1", 0));
    const sockaddr_in address = probe::ipv4("127.0.0.1", peer::portOf(server));
    probe::tellPort("CLIENT", peer::portOf(peer::connected(address)));
    acceptWithLength(server, sizeof(sockaddr_in));
    probe::tellPort("CLIENT2", peer::portOf(peer::connected(address)));
    acceptWithLength(server, sizeof(sockaddr_in));
}

void acceptFails() {
    const int server = openTcp();
    acceptWithLength(server, sizeof(sockaddr_in));
    acceptWithLength(-1, sizeof(sockaddr_in));
}

void acceptUnwritable() {
    const Server server = startServer();
    peer::connected(server.address);
    socklen_t length = sizeof(sockaddr_in);
    auto* const wrong = reinterpret_cast<sockaddr*>(8);
    tellAcceptArguments(wrong, &length);
    reportDescriptor("accept", [&] { return accept(server.socket, wrong, &length); });
}

void closeUnused() {
    const int server = openTcp();
    closeIt(server);
    closeIt(server);
    closeIt(0);
    closeIt(-1);
    const int again = openTcp();
    closeIt(again);
}

void closeFails() {
    const Server server = startServer();
    answerNext("close", server.socket, -1, EIO);
    closeIt(server.socket);
    listenOn(server.socket);
    closeIt(server.socket);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"every-socket", everySocket},
                               {"socket-of-answer", socketOfAnswer},
                               {"bind-to-any-port", bindToAnyPort},
                               {"bind-to-taken-port", bindToTakenPort},
                               {"bind-to-foreign-address", bindToForeignAddress},
                               {"bind-local", bindLocal},
                               {"bind-unknown", bindUnknown},
                               {"bind-without-address", bindWithoutAddress},
                               {"bind-datagram", bindDatagram},
                               {"bind-without-name", bindWithoutName},
                               {"listen", listening},
                               {"accept", acceptOne},
                               {"accept-two", acceptTwo},
                               {"accept-without-arguments", acceptWithoutArguments},
                               {"accept-without-address", acceptWithoutAddress},
                               {"accept-without-length", acceptWithoutLength},
                               {"accept-short-0", acceptShort0},
                               {"accept-short-15", acceptShort15},
                               {"accept-ipv6", acceptIpv6Whole},
                               {"accept-ipv6-without-arguments", acceptIpv6WithoutArguments},
                               {"accept-local", acceptLocal},
                               {"accept-unknown", acceptUnknown},
                               {"accept-fails", acceptFails},
                               {"accept-unwritable", acceptUnwritable},
                               {"close-unused", closeUnused},
                               {"close-fails", closeFails}});
}
