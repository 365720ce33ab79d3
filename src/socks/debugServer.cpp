#include <poll.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/SignalBlock.h"
#include "base/ownDescriptors.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "socks/Socks.h"

constinit int debugSocket = -1;
constinit const char* debugIpVal = nullptr;
constinit int debugPortVal = 5150;
constinit int debugServerActive = 0;
constinit char initializationDone = 1;

namespace {

// How long the application may be kept waiting, in the whole life of the process, for a server that
// does not read as fast as lines are made. A server that has used it up, or whose connection broke,
// gets no more lines: behind one that is missing or cut they would mislead whoever reads them.
constexpr timeval longestSend = {1, 0};
constexpr int wholePatience = 1000;  // milliseconds
constinit std::atomic<int> patience{wholePatience};

// Tells the connection from whatever the application may open under its number after closing it.
constinit FileIdentity connectionIdentity{};

void traceInactive() {
    x_disp(TRACE_INFO, "****************************");
    x_disp(TRACE_INFO, "** DebugServer not active **");
    x_disp(TRACE_INFO, "****************************");
}

void traceActive() {
    x_disp(TRACE_INFO, "************************");
    x_disp(TRACE_INFO, "** DebugServer active **");
    x_disp(TRACE_INFO, "************************");
    x_disp(TRACE_INFO, "Debug server IP : %s", debugIpVal);
    x_disp(TRACE_INFO, "Debug server Port : %d", debugPortVal);
}

void readPort() {
    const char* const text = getenv("VELTRA_SOCKET_AGENT_DEBUG_PORT");
    const int port = text == nullptr ? 0 : static_cast<int>(strtol(text, nullptr, 10));
    if (port != 0) debugPortVal = port;
}

// Moved aside before its connect, in which another thread may take any number for itself.
void createDebugSocket() {
    debugSocket = openOwnSocket();
    connectionIdentity = fileIdentity(debugSocket);
    debugSocket = moveDescriptorAside(debugSocket);
    if (debugSocket != -1) rememberOwnDescriptor(debugSocket, connectionIdentity);
}

bool isStillConnection() {
    return fileIdentity(debugSocket) == connectionIdentity;
}

int connectDebugSocket() {
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = True_htons(static_cast<std::uint16_t>(debugPortVal));
    server.sin_addr.s_addr = True_inet_addr(debugIpVal);
    createDebugSocket();
    limitWaits(debugSocket, {connectMaxTimeout.load(std::memory_order_relaxed), 0});
    return True_connect(debugSocket, reinterpret_cast<const struct sockaddr*>(&server),
                        sizeof(server));
}

// The descriptor count of 0 is deliberate: the wait never sees the socket and always takes the
// whole time-out.
bool isConnectedAfterWait() {
    timeval timeout = {connectMaxTimeout.load(std::memory_order_relaxed), 0};
    fd_set readable;
    FD_ZERO(&readable);
    if (debugSocket < FD_SETSIZE) FD_SET(debugSocket, &readable);
    fd_set writable = readable;
    return True_select(0, &readable, &writable, nullptr, &timeout) == 1;
}

// Where the connection fails, errno is what it leaves.
bool isDebugServerConnected(int callersError) {
    if (connectDebugSocket() != -1) return true;
    const int error = True_WSAGetLastError();
    if (error != EAGAIN) {
        x_disp(TRACE_ERROR, "connect() failed with error code (SOCKET ERROR : %d %s : %s):", error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
        True_WSASetLastError(callersError);
        return false;
    }
    if (!isConnectedAfterWait()) {
        x_disp(TRACE_ERROR, "connect() timeout expired");
        True_WSASetLastError(ECONNREFUSED);
        return false;
    }
    x_disp(TRACE_INFO, "connect() ok after some time....");
    return true;
}

int elapsedMilliseconds(const timespec& start) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int>((now.tv_sec - start.tv_sec) * 1000 +
                            (now.tv_nsec - start.tv_nsec) / 1000000);
}

// True when the connection takes more bytes, or is broken, which a send then finds out. Waits for
// room as long as there is patience; meanwhile the application may have closed the connection.
bool hasRoom() {
    pollfd server = {debugSocket, POLLOUT, 0};
    if (poll(&server, 1, 0) != 0) return true;
    timespec start{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    const int left = patience.load(std::memory_order_relaxed);
    const bool found = poll(&server, 1, left) > 0;
    patience.store(left - elapsedMilliseconds(start) - 1, std::memory_order_relaxed);
    return found && isStillConnection();
}

bool sendLine(const char* line) {
    const std::size_t length = std::strlen(line);
    return isStillConnection() && hasRoom() &&
           SignalBlock::send(debugSocket, line, length) == static_cast<ssize_t>(length);
}

}  // namespace

void initializeDebugServer() {
    const int callersError = True_WSAGetLastError();
    if (initializationDone != 0) return;
    initializationDone = 1;
    if (debugSocket != -1) return;
    debugIpVal = getenv("VELTRA_SOCKET_AGENT_DEBUG_IP");
    debugServerActive = debugIpVal != nullptr ? 1 : 0;
    if (debugIpVal == nullptr) return traceInactive();
    readPort();
    traceActive();
    // Lines that other threads trace meanwhile must not wait for the connection.
    patience.store(0, std::memory_order_relaxed);
    if (!isDebugServerConnected(callersError)) return;
    if (isStillConnection()) limitWaits(debugSocket, longestSend);
    patience.store(wholePatience, std::memory_order_release);
    x_disp(TRACE_INFO, "connect() done on debug server");
}

void sendDebugMessage(const char* line) {
    if (debugSocket == -1 || patience.load(std::memory_order_acquire) <= 0) return;
    const int callersError = errno;
    if (!sendLine(line)) patience.store(0, std::memory_order_relaxed);
    errno = callersError;
}
