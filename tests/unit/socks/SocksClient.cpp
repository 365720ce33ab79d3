#include "SocksClient.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

ReadScript SocksClient::script;

namespace {

ReadScript* playedScript = nullptr;
int againLeft = 0;

ssize_t scriptedRecv(int fd, void* buffer, std::size_t length, int flags) {
    EXPECT_EQ(flags, 0);
    if (againLeft > 0) {
        --againLeft;
        errno = EAGAIN;
        return -1;
    }
    againLeft = playedScript->againBeforeEach;
    playedScript->statusFlags.push_back(::fcntl(fd, F_GETFL));
    if (++playedScript->reads == playedScript->failingRead) {
        errno = playedScript->error;
        return -1;
    }
    pollfd readable{fd, POLLIN, 0};
    ::poll(&readable, 1, -1);
    return ::recv(fd, buffer, std::min(length, playedScript->most), 0);
}

}  // namespace

SocksClient::SocksClient() : recvCall_(recv_ptr, &scriptedRecv) {
    script = {};
    playedScript = &script;
    socksModeActive.store(1);
    socksIpv4Val = "127.0.0.1";
    socksIpv6Val = "::1";
    socksPort4Val = 1081;
    socksPort6Val = 1082;
}

SocksClient::~SocksClient() {
    closeSocket();
    serverIPV4 = {};
    serverIPV6 = {};
    socksIpv4Val = nullptr;
    socksIpv6Val = nullptr;
    socksPort4Val = 0;
    socksPort6Val = 0;
    connectMaxTimeout.store(10);
}

void SocksClient::useServer(int family, std::uint16_t port) {
    if (family == AF_INET6) {
        serverIPV6.sin6_family = AF_INET6;
        serverIPV6.sin6_addr = in6addr_loopback;
        serverIPV6.sin6_port = htons(port);
    } else {
        serverIPV4.sin_family = AF_INET;
        serverIPV4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        serverIPV4.sin_port = htons(port);
    }
}

int SocksClient::open(int family, int type) {
    closeSocket();
    againLeft = script.againBeforeEach;
    socket_ = ::socket(family, type, 0);
    createSocketInfo(socket_, family, type & ~SOCK_NONBLOCK, (type & SOCK_NONBLOCK) != 0 ? 1 : 0,
                     IPPROTO_TCP);
    (void)log.takeLines();
    return socket_;
}

void SocksClient::closeSocket() {
    if (socket_ == -1) return;
    ::close(socket_);
    freeSocketInfo(socket_);
    socket_ = -1;
}

ssize_t brokenSend(int, const void*, std::size_t, int flags) {
    EXPECT_EQ(flags, 0);
    errno = ECONNRESET;
    return -1;
}

Lines joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Lines startTrace() {
    return {"[INFO ]**************** starting socks connection ******************",
            "[INFO ]* socks server : 127.0.0.1 (1081)",
            "[INFO ]* socks server : ::1 (1082)",
            "[INFO ]************************",
            "[INFO ]** starting handshake **",
            "[INFO ]************************"};
}

Lines ipv4ServerTrace() {
    return {"[INFO ]==> Connecting socket IPV4"};
}

Lines ipv6ServerTrace(std::uint16_t port) {
    return {"[INFO ]==> Connecting socket IPV6 : ",
            "[INFO ]\t familly : AF_CCITT 10",
            "[INFO ]\t port : " + std::to_string(port),
            "[INFO ]\t flowinfo : 0",
            "[INFO ]\t scope_id : 0",
            "[INFO ]\t sin6_addr.u.Byte : [00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 ]",
            "[INFO ]\t sin6_addr.u.Word : [0000 0000 0000 0000 0000 0000 0000 0001 ]"};
}

Lines greetingTrace() {
    return {"[INFO ]connect() done on SOCKS server",
            "[INFO ]==> Sending supported authentification methods",
            "[INFO ]send client greeting OK", "[INFO ]==> Waiting selected method"};
}

Lines acceptanceTrace() {
    return {"[INFO ]recv selected method OK : 05 00 ", "[INFO ]***************************",
            "[INFO ]** handshake successfull **", "[INFO ]***************************"};
}

Lines ipv4HandShakeTrace() {
    return joined({startTrace(), ipv4ServerTrace(), greetingTrace(), acceptanceTrace()});
}
