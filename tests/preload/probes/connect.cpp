// Calls of connect, and the close that follows.

#include "Answers.h"
#include "Client.h"

using probe::answerNext;
using probe::report;
using probe::reportDescriptor;

namespace {

int open(int domain, int type) {
    return reportDescriptor("socket", [=] { return socket(domain, type, 0); });
}

template <typename Address>
void connectTo(int socket, const Address& address) {
    probe::tellAddress("DESTINATION", &address);
    report("connect", [&] { return connect(socket, probe::generic(address), sizeof(address)); });
    probe::tellPort("LOCAL", peer::portOf(socket));
}

void closeIt(int socket) {
    report("close", [=] { return close(socket); });
}

// A port that nobody listens on while the holder of it is bound.
sockaddr_in refusingAddress() {
    const int holder = peer::bound(SOCK_STREAM, probe::ipv4("127.0.0.1", 0));
    probe::tellPort("SERVER", peer::portOf(holder));
    return probe::ipv4("127.0.0.1", peer::portOf(holder));
}

sockaddr_in servingAddress() {
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    probe::tellPort("SERVER", peer::portOf(listener));
    return probe::ipv4("127.0.0.1", peer::portOf(listener));
}

void connectAndClose() {
    closeIt(connectClient().socket);
}

void connectIpv6() {
    const int listener = peer::listening(probe::ipv6("::1", 0));
    const sockaddr_in6 server = probe::ipv6("::1", peer::portOf(listener));
    probe::tellPort("SERVER", peer::portOf(listener));
    connectTo(open(AF_INET6, SOCK_STREAM), server);
}

void connectRefused() {
    const sockaddr_in server = refusingAddress();
    const int client = open(AF_INET, SOCK_STREAM);
    connectTo(client, server);
    closeIt(client);
}

void connectInProgress() {
    const sockaddr_in server = servingAddress();
    const int client = open(AF_INET, SOCK_STREAM | SOCK_NONBLOCK);
    answerNext("connect", client, -1, EINPROGRESS);
    connectTo(client, server);
    closeIt(client);
}

void connectWithoutErrorCode() {
    const sockaddr_in server = servingAddress();
    const int client = open(AF_INET, SOCK_STREAM);
    answerNext("connect", client, -1, 0);
    connectTo(client, server);
    closeIt(client);
}

void connectAlready() {
    const Client client = connectClient();
    connectTo(client.socket, probe::ipv4("10.1.2.3", 80));
}

void connectWithoutName(int error) {
    const sockaddr_in server = servingAddress();
    const int client = open(AF_INET, SOCK_STREAM);
    answerNext("getsockname", client, -1, error);
    connectTo(client, server);
}

void connectNameNotYet() {
    connectWithoutName(EAGAIN);
}

void connectNameFails() {
    connectWithoutName(ENOTCONN);
}

void connectDatagram() {
    const int server = peer::bound(SOCK_DGRAM, probe::ipv4("127.0.0.1", 0));
    const int client = open(AF_INET, SOCK_DGRAM);
    connectTo(client, probe::ipv4("127.0.0.1", peer::portOf(server)));
    closeIt(client);
}

void connectDatagramFails() {
    connectTo(open(AF_INET, SOCK_DGRAM), probe::local("nobody"));
}

void connectLocal() {
    const sockaddr_un server = probe::local("server");
    peer::listening(server);
    const int client = open(AF_UNIX, SOCK_STREAM);
    report("connect", [&] { return connect(client, probe::generic(server), sizeof(server)); });
    closeIt(client);
}

void connectLocalFails() {
    const sockaddr_un server = probe::local("nobody");
    const int client = open(AF_UNIX, SOCK_STREAM);
    report("connect", [&] { return connect(client, probe::generic(server), sizeof(server)); });
    closeIt(client);
}

void connectUnknown() {
    const sockaddr_in server = servingAddress();
    const int client = peer::bound(SOCK_STREAM, probe::ipv4("127.0.0.1", 0));
    report("connect", [&] { return connect(client, probe::generic(server), sizeof(server)); });
    probe::tellPort("LOCAL", peer::portOf(client));
    report("connect", [&] { return connect(-1, probe::generic(server), sizeof(server)); });
}

void connectToOwnServer() {
    const int server = open(AF_INET, SOCK_STREAM);
    const sockaddr_in any = probe::ipv4("127.0.0.1", 0);
    report("bind", [&] { return bind(server, probe::generic(any), sizeof(any)); });
    report("listen", [=] { return listen(server, 8); });
    probe::tellPort("SERVER", peer::portOf(server));
    connectTo(open(AF_INET, SOCK_STREAM), probe::ipv4("127.0.0.1", peer::portOf(server)));
}

void connectWithoutAddress() {
    const int client = open(AF_INET, SOCK_STREAM);
    report("connect", [=] { return connect(client, nullptr, sizeof(sockaddr_in)); });
    const auto* const wrong = reinterpret_cast<const sockaddr*>(8);
    probe::tellAddress("WRONG", wrong);
    report("connect", [=] { return connect(client, wrong, sizeof(sockaddr_in)); });
    const sockaddr_in address = probe::ipv4("127.0.0.1", 80);
    probe::tellAddress("DESTINATION", &address);
    report("connect", [&] { return connect(client, probe::generic(address), 1); });
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"connect", connectAndClose},
                               {"ipv6", connectIpv6},
                               {"refused", connectRefused},
                               {"in-progress", connectInProgress},
                               {"without-error-code", connectWithoutErrorCode},
                               {"already", connectAlready},
                               {"name-not-yet", connectNameNotYet},
                               {"name-fails", connectNameFails},
                               {"datagram", connectDatagram},
                               {"datagram-fails", connectDatagramFails},
                               {"local", connectLocal},
                               {"local-fails", connectLocalFails},
                               {"unknown", connectUnknown},
                               {"own-server", connectToOwnServer},
                               {"without-address", connectWithoutAddress}});
}
