#include <arpa/inet.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Stopwatch.h"
#include "scenarios.h"
#include "sockets.h"

namespace veltra::bench {

namespace {

int openedSocket(int family) {
    return static_cast<int>(checked(socket(family, SOCK_DGRAM, 0), "socket"));
}

// A datagram socket that is connected to itself.
int selfConnected(int family, socklen_t addressLength) {
    const int descriptor = openedSocket(family);
    sockaddr_storage address{};
    address.ss_family = static_cast<sa_family_t>(family);
    if (family == AF_INET)
        reinterpret_cast<sockaddr_in&>(address).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    checked(bind(descriptor, generic, addressLength), "bind");
    socklen_t length = sizeof(address);
    checked(getsockname(descriptor, generic, &length), "getsockname");
    checked(connect(descriptor, generic, length), "connect");
    return descriptor;
}

int udpSocket() {
    static const int descriptor = selfConnected(AF_INET, sizeof(sockaddr_in));
    return descriptor;
}

int localSocket() {
    // The family alone: the system chooses the name.
    static const int descriptor = selfConnected(AF_UNIX, sizeof(sa_family_t));
    return descriptor;
}

}  // namespace

double measureUnrecordedCall(const std::string& socket, const std::string& call, int count) {
    const int descriptor = socket == "udp" ? udpSocket() : localSocket();
    char byte = 'x';
    ssize_t result = 0;
    double time = 0;
    if (call == "recv") {
        time = meanOfBatch(
            count, [&] { result = recv(descriptor, &byte, 1, MSG_DONTWAIT) == -1 ? 1 : -1; });
    } else {
        time = meanOfBatch(count,
                           [&] {
                               send(descriptor, &byte, 1, 0);
                               result = recv(descriptor, &byte, 1, 0);
                           }) /
               2;
    }
    checked(result == 1 ? 0 : -1, call.c_str());
    return time;
}

void openSockets(int count) {
    rlimit limit;
    checked(getrlimit(RLIMIT_NOFILE, &limit), "getrlimit");
    limit.rlim_cur = limit.rlim_max;
    checked(setrlimit(RLIMIT_NOFILE, &limit), "setrlimit");
    measurePlainCall("write", 1);
    udpSocket();
    for (int i = 0; i < count; ++i)
        openedSocket(AF_INET);
}

double measureConnectedReceive(const sockaddr_in& address, int count) {
    static const int descriptor = connectedSocket(address);
    char byte;
    ssize_t result = 0;
    const double time =
        meanOfBatch(count, [&] { result = recv(descriptor, &byte, 1, MSG_DONTWAIT); });
    // The result of a receive that found nothing.
    checked(result == -1 ? 0 : -1, "recv");
    return time;
}

double measureConnectAndClose(const sockaddr_in& address, int count) {
    return medianOfSingle(
        count, [] {}, [&] { close(connectedSocket(address)); }, [] {});
}

}  // namespace veltra::bench
