#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/SignalBlock.h"
#include "base/addressText.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "socks/Socks.h"
#include "socks/receiveSomeData.h"
#include "socks/socksProtocol.h"

namespace {

struct Request {
    unsigned char bytes[22];
    int length;
};

// Leaves the error code behind.
int endWith(int status, int error) {
    True_WSASetLastError(error);
    return status;
}

int malformed(int& socksError) {
    socksError = EPROTONOSUPPORT;
    return endWith(SOCKS_FAILED, ECONNREFUSED);
}

// The status after a handshake that did not connect.
int handShakeFailure(int handShake) {
    switch (handShake) {
        case SOCKS_NOT_APPLICABLE:
            return SOCKS_NOT_APPLICABLE;
        case SOCKS_FAILED:
            x_disp(TRACE_ERROR, "Socks connect failed (wrong handshake)");
            return endWith(SOCKS_FAILED, ECONNREFUSED);
        case SOCKS_SERVER_UNREACHABLE:
            x_disp(TRACE_ERROR, "Socks connect failed (socks server unreachable)");
            return endWith(SOCKS_SERVER_UNREACHABLE, ECONNREFUSED);
        default:
            x_disp(TRACE_ERROR, "Socks connect failed (wrong return code : %d)", handShake);
            return endWith(SOCKS_FAILED, ECONNREFUSED);
    }
}

void appendBytes(Request& request, const void* bytes, int count) {
    std::memcpy(request.bytes + request.length, bytes, static_cast<std::size_t>(count));
    request.length += count;
}

// False, with a trace, for a destination that is neither IPv4 nor IPv6.
bool buildRequest(const struct sockaddr* destination, Request& request) {
    request = {{socksVersion, socksCommandConnect, socksReserved}, 3};
    if (destination->sa_family == AF_INET) {
        const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(destination);
        x_disp(TRACE_INFO, "* socks server request IPV4 %s(%d)", ipv4Text(ipv4.sin_addr).text,
               be16toh(ipv4.sin_port));
        appendBytes(request, &socksAddressIpv4, 1);
        appendBytes(request, &ipv4.sin_addr, 4);
        appendBytes(request, &ipv4.sin_port, 2);
        return true;
    }
    if (destination->sa_family == AF_INET6) {
        const auto& ipv6 = *reinterpret_cast<const sockaddr_in6*>(destination);
        x_disp(TRACE_INFO, "* socks server request IPV6 %s(%d)", ipv6Text(ipv6.sin6_addr).text,
               be16toh(ipv6.sin6_port));
        appendBytes(request, &socksAddressIpv6, 1);
        appendBytes(request, &ipv6.sin6_addr, 16);
        appendBytes(request, &ipv6.sin6_port, 2);
        return true;
    }
    x_disp(TRACE_ERROR, "unsupported way of connect");
    return false;
}

void traceRequest(const Request& request) {
    char text[128];
    int used = 0;
    for (int i = 0; i < request.length; ++i) {
        used += snprintf(text + used, sizeof(text) - static_cast<std::size_t>(used), "%s0x%02X",
                         i == 0 ? "" : ",", request.bytes[i]);
    }
    x_disp(TRACE_INFO, "Client request : [%s]", text);
}

bool sendRequest(int fd, const Request& request, int& socksError) {
    if (SignalBlock::send(fd, request.bytes, static_cast<std::size_t>(request.length)) != -1) {
        x_disp(TRACE_INFO, "send client request OK");
        return true;
    }
    const int error = True_WSAGetLastError();
    x_disp(TRACE_ERROR, "failed to send client request (SOCKET ERROR : %d %s : %s)", error,
           getSocketErrorKind(error), getSocketErrorMsg(error));
    socksError = error;
    True_WSASetLastError(ECONNREFUSED);
    return false;
}

// What a refusal says, is recorded as, and leaves behind. The last two differ on purpose in one
// row.
struct Refusal {
    const char* text;
    int socksError;
    int error;
};

constexpr Refusal refusals[] = {
    {"General SOCKS server failure", ECONNREFUSED, ECONNREFUSED},
    {"Connection not allowed by ruleset", ECONNREFUSED, ECONNREFUSED},
    {"Network unreachable", ENETUNREACH, ENETUNREACH},
    {"Host unreachable", EHOSTUNREACH, EHOSTUNREACH},
    {"Connection refused", ECONNREFUSED, ECONNREFUSED},
    {"TTL expired", ETIMEDOUT, ETIMEDOUT},
    {"Command not supported", EOPNOTSUPP, ECONNREFUSED},
    {"Address type not supported", EADDRNOTAVAIL, EADDRNOTAVAIL},
};
constexpr int lastRefusal = 8;
constexpr Refusal unknownRefusal = {"Unknown error", ECONNABORTED, ECONNREFUSED};

int refuse(int reply, int& socksError) {
    const Refusal& refusal = reply > lastRefusal ? unknownRefusal : refusals[reply - 1];
    x_disp(TRACE_ERROR, "%s", refusal.text);
    socksError = refusal.socksError;
    return endWith(SOCKS_REFUSED, refusal.error);
}

// The address and port that the server connects from: read and traced, but of no use here.
int readBoundAddress(int fd, int& socksError) {
    unsigned char format = 0;
    if (!receiveSomeData(fd, &format, 1, socksError, "format")) return SOCKS_FAILED;
    unsigned char address[16] = {};
    switch (format) {
        case socksAddressIpv4:
            if (!receiveSomeData(fd, address, 4, socksError, "redirect IPV4 address")) {
                return SOCKS_FAILED;
            }
            break;
        case socksAddressIpv6:
            if (!receiveSomeData(fd, address, 16, socksError, "redirect IPV6 address")) {
                return SOCKS_FAILED;
            }
            break;
        case socksAddressDomain:
            x_disp(TRACE_ERROR, "Domain name address (unsupported)");
            return malformed(socksError);
        default:
            x_disp(TRACE_ERROR, "Invalid ATYP field");
            return malformed(socksError);
    }
    unsigned char port[2] = {};
    if (!receiveSomeData(fd, port, 2, socksError, "redirect port")) return SOCKS_FAILED;
    const int leftBehind = True_WSAGetLastError();
    x_disp(TRACE_INFO, "* socks server routed  (%d)", port[0] * 256 + port[1]);
    return endWith(SOCKS_CONNECTED, leftBehind);
}

int readReply(int fd, int& socksError) {
    x_disp(TRACE_INFO, "==> Waiting server reply");
    unsigned char version = 0;
    if (!receiveSomeData(fd, &version, 1, socksError, "protocol version")) return SOCKS_FAILED;
    if (version != socksVersion) {
        x_disp(TRACE_ERROR, "bad protocol version (expected : %d received %d)", socksVersion,
               version);
        return malformed(socksError);
    }
    unsigned char reply = 0;
    if (!receiveSomeData(fd, &reply, 1, socksError, "connect status")) return SOCKS_FAILED;
    if (reply != 0) return refuse(reply, socksError);
    x_disp(TRACE_INFO, "Request succeeded");
    unsigned char reserved = 0;
    if (!receiveSomeData(fd, &reserved, 1, socksError, "reserved field")) return SOCKS_FAILED;
    if (reserved != socksReserved) {
        x_disp(TRACE_ERROR, "bad reserved field");
        return malformed(socksError);
    }
    return readBoundAddress(fd, socksError);
}

int requestConnection(int fd, const struct sockaddr* destination, int& socksError) {
    x_disp(TRACE_INFO, "****************************");
    x_disp(TRACE_INFO, "** starting socks request **");
    x_disp(TRACE_INFO, "****************************");
    Request request;
    if (!buildRequest(destination, request)) {
        socksError = EAFNOSUPPORT;
        return endWith(SOCKS_FAILED, ECONNREFUSED);
    }
    if (isTraceWritten(TRACE_INFO)) traceRequest(request);
    if (!sendRequest(fd, request, socksError)) return SOCKS_FAILED;
    return readReply(fd, socksError);
}

}  // namespace

int SocksConnect(SOCKETINFO* record, const struct sockaddr* address, socklen_t length,
                 int& socksError) {
    const int fd = getSocket(record);
    if (isBindedLocalHost(fd, address, length)) {
        x_disp(TRACE_INFO, "socks mode inactived (local loop)");
        return SOCKS_LOCAL_LOOP;
    }
    if (!isSocksModeActive() || address == nullptr) return SOCKS_NOT_APPLICABLE;
    const int family = address->sa_family;
    if (!isStreamSocket(fd, family)) return SOCKS_NOT_APPLICABLE;
    const int handShake = socksHandShake(fd, socksError, family);
    if (handShake != SOCKS_CONNECTED) return handShakeFailure(handShake);
    const int status = requestConnection(fd, address, socksError);
    if (status != SOCKS_CONNECTED) return status;
    const int leftBehind = True_WSAGetLastError();
    x_disp(TRACE_INFO, "*******************************");
    x_disp(TRACE_INFO, "** socks request successfull **");
    x_disp(TRACE_INFO, "*******************************");
    createSockaddrElem(record, address, static_cast<int>(length));
    True_WSASetLastError(leftBehind);
    return SOCKS_CONNECTED;
}
