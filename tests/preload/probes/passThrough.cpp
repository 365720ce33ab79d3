// Calls that are passed on: waiting, options, names and look-ups.

#include <netdb.h>
#include <sys/select.h>

#include <csignal>

#include "Client.h"

using probe::report;

namespace {

int openStream() {
    return probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
}

fd_set setOf(int descriptor) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(descriptor, &set);
    return set;
}

// Arguments that a trace shows are static: their addresses must not be those of something that was
// on the stack before.

void waitFor(int socket) {
    static fd_set readable = setOf(socket);
    static fd_set writable = setOf(socket);
    static timeval timeout = {5, 0};
    probe::tellAddress("READABLE", &readable);
    probe::tellAddress("WRITABLE", &writable);
    probe::tellAddress("TIMEOUT", &timeout);
    report("select", [&] { return select(socket + 1, &readable, &writable, nullptr, &timeout); });
    std::printf("ready: %d %d\n", FD_ISSET(socket, &readable), FD_ISSET(socket, &writable));
}

void exactlyWaitFor(int socket) {
    static fd_set readable = setOf(socket);
    static const timespec timeout = {5, 0};
    static sigset_t mask;
    sigemptyset(&mask);
    probe::tellAddress("READABLE", &readable);
    probe::tellAddress("EXACT", &timeout);
    probe::tellAddress("MASK", &mask);
    report("pselect",
           [&] { return pselect(socket + 1, &readable, nullptr, nullptr, &timeout, &mask); });
    std::printf("ready: %d\n", FD_ISSET(socket, &readable));
}

void waits() {
    const Client client = connectClient();
    peer::send(client.peer, "x", 1);
    waitFor(client.socket);
}

void exactWaits() {
    const Client client = connectClient();
    peer::send(client.peer, "x", 1);
    exactlyWaitFor(client.socket);
}

void waitsInVain() {
    static timeval noTime{};
    probe::tellAddress("TIMEOUT", &noTime);
    report("select", [&] { return select(0, nullptr, nullptr, nullptr, &noTime); });
    report("select", [] { return select(-1, nullptr, nullptr, nullptr, nullptr); });
    static const timespec exactlyNoTime{};
    probe::tellAddress("EXACT", &exactlyNoTime);
    report("pselect",
           [&] { return pselect(0, nullptr, nullptr, nullptr, &exactlyNoTime, nullptr); });
    report("pselect", [] { return pselect(-1, nullptr, nullptr, nullptr, nullptr, nullptr); });
}

void getOption(int socket) {
    int value = -1;
    socklen_t length = sizeof(value);
    report("getsockopt", [&] { return getsockopt(socket, SOL_SOCKET, SO_TYPE, &value, &length); });
    std::printf("option: %d\n", value);
}

void options() {
    const int stream = openStream();
    static const int on = 1;
    probe::tellAddress("OPTION", &on);
    report("setsockopt",
           [&] { return setsockopt(stream, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)); });
    report("setsockopt", [&] { return setsockopt(stream, SOL_SOCKET, 9999, &on, sizeof(on)); });
    report("setsockopt", [] { return setsockopt(-1, 6, 1, nullptr, 0); });
    getOption(stream);
    report("getsockopt", [=] { return getsockopt(stream, SOL_SOCKET, SO_TYPE, nullptr, nullptr); });
}

void ownName(int socket) {
    sockaddr_in name{};
    socklen_t length = sizeof(name);
    report("getsockname", [&] { return getsockname(socket, probe::generic(name), &length); });
    std::printf("family %d length %u\n", name.sin_family, length);
}

void peerName(int socket) {
    sockaddr_in name{};
    socklen_t length = sizeof(name);
    report("getpeername", [&] { return getpeername(socket, probe::generic(name), &length); });
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &name.sin_addr, text, sizeof(text));
    std::printf("%s length %u\n", text, length);
}

void names() {
    const Client client = connectClient();
    ownName(client.socket);
    peerName(client.socket);
    sockaddr_in name{};
    socklen_t length = 4;
    report("getpeername",
           [&] { return getpeername(client.socket, probe::generic(name), &length); });
    std::printf("length %u\n", length);
}

void badNames() {
    const int stream = openStream();
    peerName(stream);
    sockaddr_in name{};
    socklen_t length = sizeof(name);
    const auto withoutAddress = [&] { return getpeername(stream, nullptr, &length); };
    const auto withoutLength = [&] { return getpeername(stream, probe::generic(name), nullptr); };
    report("getpeername", withoutAddress);
    report("getpeername", withoutLength);
    report("getsockname", [&] { return getsockname(stream, probe::generic(name), nullptr); });
}

// Local sockets, sockets that were opened behind the agent's back, and no sockets at all.
void silent() {
    const int local =
        probe::reportDescriptor("socket", [] { return socket(AF_UNIX, SOCK_STREAM, 0); });
    for (const int socket : {local, peer::bound(SOCK_STREAM, probe::ipv4("127.0.0.1", 0)), 1, -1}) {
        getOption(socket);
        ownName(socket);
        peerName(socket);
    }
}

void lookUp(const char* node, const char* service, const addrinfo* hints) {
    addrinfo* found = nullptr;
    const int result =
        report("getaddrinfo", [&] { return getaddrinfo(node, service, hints, &found); });
    for (const addrinfo* each = found; each != nullptr; each = each->ai_next)
        std::printf("found: %d %d\n", each->ai_family, each->ai_socktype);
    if (result == 0) freeaddrinfo(found);
}

void lookUpAddress() {
    lookUp("127.0.0.1", "80", nullptr);
}

void lookUpStream() {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
    lookUp("::1", nullptr, &hints);
    hints.ai_family = AF_INET;
    lookUp(nullptr, "8080", &hints);
    lookUp("not an address", nullptr, &hints);
}

// The look-ups that the agent exports, for programs that call them by their own names.
void exportedLookUps() {
    const auto byName = probe::exported<hostent* (*)(const char*)>("Mygethostbyname");
    const auto ownName = probe::exported<int (*)(char*, size_t)>("Mygethostname");
    const auto service = probe::exported<servent* (*)(const char*, const char*)>("Mygetservbyname");
    const auto port = probe::exported<servent* (*)(int, const char*)>("Mygetservbyport");
    const auto addresses = probe::exported<decltype(&getaddrinfo)>("Mygetaddrinfo");
    const hostent* found = nullptr;
    report("host", [&] { return (found = byName("10.1.2.3")) != nullptr; });
    std::printf("%s %d\n", inet_ntoa(*reinterpret_cast<in_addr*>(found->h_addr_list[0])),
                found->h_addrtype);
    std::printf("0x%lX\n", reinterpret_cast<unsigned long>(found));
    char name[300] = "";
    report("own name", [&] { return ownName(name, sizeof(name)); });
    std::printf("%s\n", name);
    report("service", [&] { return service("no such service", "tcp") == nullptr; });
    report("port", [&] { return port(htons(1), "no such protocol") == nullptr; });
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    report("addresses", [&] { return addresses("10.4.5.6", "80", &hints, &list); });
    freeaddrinfo(list);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"waits", waits},
                               {"exact-waits", exactWaits},
                               {"waits-in-vain", waitsInVain},
                               {"options", options},
                               {"names", names},
                               {"bad-names", badNames},
                               {"silent", silent},
                               {"look-up-address", lookUpAddress},
                               {"look-up-stream", lookUpStream},
                               {"exported-look-ups", exportedLookUps}});
}
