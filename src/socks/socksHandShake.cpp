#include <fcntl.h>

#include <cerrno>
#include <cstdio>

#include "base/SignalBlock.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "socks/Socks.h"
#include "socks/receiveSomeData.h"
#include "socks/socksProtocol.h"

namespace {

constexpr unsigned char greeting[] = {socksVersion, 1, socksNoAuthentication};

// The exchange runs in blocking mode, whatever the application chose; its own flags come back at
// the end.
class BlockingMode {
public:
    explicit BlockingMode(int fd) : fd_(fd), flags_(fcntl(fd, F_GETFL)) {
        if (isToChange()) fcntl(fd_, F_SETFL, flags_ & ~O_NONBLOCK);
    }
    ~BlockingMode() {
        if (!isToChange()) return;
        const int saved = errno;
        fcntl(fd_, F_SETFL, flags_);
        errno = saved;
    }
    BlockingMode(const BlockingMode&) = delete;
    BlockingMode& operator=(const BlockingMode&) = delete;

private:
    bool isToChange() const { return (flags_ & O_NONBLOCK) != 0; }

    int fd_;
    int flags_;
};

struct Server {
    const struct sockaddr* address;
    socklen_t length;
};

void traceStart() {
    x_disp(TRACE_INFO, "**************** starting socks connection ******************");
    x_disp(TRACE_INFO, "* socks server : %s (%d)", socksIpv4Val, socksPort4Val);
    x_disp(TRACE_INFO, "* socks server : %s (%d)", socksIpv6Val, socksPort6Val);
    x_disp(TRACE_INFO, "************************");
    x_disp(TRACE_INFO, "** starting handshake **");
    x_disp(TRACE_INFO, "************************");
}

void traceIpv6Server() {
    const unsigned char* const byte = serverIPV6.sin6_addr.s6_addr;
    char bytes[16 * 3 + 1];
    for (int i = 0; i < 16; ++i)
        snprintf(bytes + i * 3, 4, "%02X ", byte[i]);
    char words[8 * 5 + 1];
    for (int i = 0; i < 8; ++i) {
        snprintf(words + i * 5, 6, "%04X ",
                 static_cast<unsigned>(byte[2 * i] << 8 | byte[2 * i + 1]));
    }
    x_disp(TRACE_INFO, "==> Connecting socket IPV6 : ");
    x_disp(TRACE_INFO, "\t familly : %s %d", familyToString(serverIPV6.sin6_family),
           serverIPV6.sin6_family);
    x_disp(TRACE_INFO, "\t port : %d", be16toh(serverIPV6.sin6_port));
    x_disp(TRACE_INFO, "\t flowinfo : %d", static_cast<int>(serverIPV6.sin6_flowinfo));
    x_disp(TRACE_INFO, "\t scope_id : %d", static_cast<int>(serverIPV6.sin6_scope_id));
    x_disp(TRACE_INFO, "\t sin6_addr.u.Byte : [%s]", bytes);
    x_disp(TRACE_INFO, "\t sin6_addr.u.Word : [%s]", words);
}

// The server for destinations of `family`; its address is null for an unknown family.
Server serverFor(int family) {
    switch (family) {
        case AF_INET:
            x_disp(TRACE_INFO, "==> Connecting socket IPV4");
            return {reinterpret_cast<const struct sockaddr*>(&serverIPV4), sizeof(serverIPV4)};
        case AF_INET6:
            traceIpv6Server();
            return {reinterpret_cast<const struct sockaddr*>(&serverIPV6), sizeof(serverIPV6)};
        default:
            return {nullptr, 0};
    }
}

// Waits for a connect in progress. The descriptor count of 0 is deliberate: the wait never sees the
// socket, always takes the whole time-out and gives 0.
int waitForConnect(int fd) {
    timeval timeout = {connectMaxTimeout.load(std::memory_order_relaxed), 0};
    fd_set descriptors;
    FD_ZERO(&descriptors);
    if (fd < FD_SETSIZE) FD_SET(fd, &descriptors);
    fd_set writable = descriptors;
    return True_select(0, &descriptors, &writable, nullptr, &timeout);
}

// True once the socket is connected to the server. Else false, with socksError and errno set.
bool connectTo(int fd, const Server& server, int callersErrno, int& socksError) {
    if (True_connect(fd, server.address, server.length) != -1) return true;
    const int error = True_WSAGetLastError();
    if (error != EINPROGRESS && error != EAGAIN) {
        x_disp(TRACE_ERROR, "connect() failed with error code (SOCKET ERROR : %d %s : %s):", error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
        socksError = error;
        True_WSASetLastError(callersErrno);
        return false;
    }
    const int ready = waitForConnect(fd);
    if (ready != 1) {
        x_disp(TRACE_ERROR, "connect() timeout expired (%d)", ready);
        socksError = ETIMEDOUT;
        True_WSASetLastError(ECONNREFUSED);
        return false;
    }
    x_disp(TRACE_INFO, "connect() ok after some time....");
    return true;
}

bool sendGreeting(int fd, int& socksError) {
    x_disp(TRACE_INFO, "==> Sending supported authentification methods");
    if (SignalBlock::send(fd, greeting, sizeof(greeting)) != -1) {
        x_disp(TRACE_INFO, "send client greeting OK");
        return true;
    }
    const int error = True_WSAGetLastError();
    x_disp(TRACE_ERROR, "failed to send client greeting (SOCKET ERROR : %d %s : %s)", error,
           getSocketErrorKind(error), getSocketErrorMsg(error));
    socksError = error;
    return false;
}

bool isMethodAccepted(const unsigned char (&selection)[2], int& socksError) {
    if (selection[0] == socksVersion && selection[1] == socksNoAuthentication) {
        x_disp(TRACE_INFO, "***************************");
        x_disp(TRACE_INFO, "** handshake successfull **");
        x_disp(TRACE_INFO, "***************************");
        return true;
    }
    x_disp(TRACE_ERROR, "unexpected received message from server");
    socksError = EPROTONOSUPPORT;
    return false;
}

int negotiate(int fd, int& socksError) {
    const int connectedErrno = True_WSAGetLastError();
    x_disp(TRACE_INFO, "connect() done on SOCKS server");
    if (!sendGreeting(fd, socksError)) {
        True_WSASetLastError(connectedErrno);
        return SOCKS_FAILED;
    }
    x_disp(TRACE_INFO, "==> Waiting selected method");
    // Where only one byte arrives, the other counts as a refusal.
    unsigned char selection[2] = {0, socksNoAcceptableMethod};
    if (!receiveSomeData(fd, selection, sizeof(selection), socksError, "selected method")) {
        return SOCKS_FAILED;
    }
    const bool accepted = isMethodAccepted(selection, socksError);
    True_WSASetLastError(connectedErrno);
    return accepted ? SOCKS_CONNECTED : SOCKS_FAILED;
}

}  // namespace

int socksHandShake(int fd, int& socksError, int family) {
    if (!isSocksModeActive()) return SOCKS_NOT_APPLICABLE;
    const int callersErrno = True_WSAGetLastError();
    socksError = 0;
    traceStart();
    const Server server = serverFor(family);
    if (server.address == nullptr) {
        x_disp(TRACE_ERROR, "unknown familly for socks connect");
        True_WSASetLastError(ECONNREFUSED);
        return SOCKS_SERVER_UNREACHABLE;
    }
    const BlockingMode blocking(fd);
    if (!connectTo(fd, server, callersErrno, socksError)) return SOCKS_SERVER_UNREACHABLE;
    return negotiate(fd, socksError);
}
