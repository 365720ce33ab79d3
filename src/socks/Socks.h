#pragma once

// SOCKS mode: settings, local addresses, bound ports, the connection lock and the rerouting of a
// connect; and the connection to the debug server.

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdint>

#include "base/CriticalSection.h"
#include "base/export.h"
#include "base/socksMode.h"
#include "registry/ClientServer.h"

// --- Settings (socksSettings.cpp): written at start-up, read without locks afterwards ---

VELTRA_EXPORT extern std::atomic<int> socksDisplayMode;  // 1 when moreover tracing is on
extern std::atomic<int> connectMaxTimeout;  // seconds to wait for the SOCKS server or debug server
extern const char* socksIpv4Val;  // the servers' addresses as the environment holds them, or null
extern const char* socksIpv6Val;
extern std::int32_t socksPort4Val;
extern std::int32_t socksPort6Val;

// Guards one-time start-up and the bound-port registry.
extern CriticalSection criticalSectionSocks;

// Reads the environment and traces the settings.
void initializeSocksParam();

// Create and destroy criticalSectionSocks.
void InitializeSocks();
void FinalizeSocks();

// --- Server and local addresses (localAddresses.cpp) ---

extern sockaddr_in serverIPV4;  // the SOCKS servers; zero when not configured
extern sockaddr_in6 serverIPV6;
VELTRA_EXPORT extern addrinfo* allLocalAdresses;  // the host's local addresses, kept for ever

// Prepares the servers' addresses and the local addresses, once.
void initializeStartup();

// Builds allLocalAdresses, once.
void resolveLocalAdresses();

// True when `address` is local and its port (0: the socket's own) was bound by a socket of this
// process. `address` may be null and must else be large enough for its family. Keeps errno.
bool isBindedLocalHost(int fd, const struct sockaddr* address, socklen_t length);

// True when `family` is IPv4 or IPv6 and the socket is a stream socket; false when the system
// cannot tell. Keeps errno.
bool isStreamSocket(int fd, int family);

// --- Bound ports (boundPorts.cpp) ---

// Remembers that `fd` was bound to `port` (host order).
void createBindedPortMemo(int fd, std::uint16_t port);
// Forgets the newest port of `fd`, if there is one, and traces all entries.
void freeBindedPortMemo(int fd);
// The same without the traces.
void forgetNewestBoundPort(int fd);
// Traces all entries.
void displayBindedPortMemo();
// Gives the memory of all entries back.
void physicalFreeBindedPortMemo();
// True when some socket was bound to `port` (host order).
bool isPortBound(std::uint16_t port);
// The socket's own port in host order, 0 when the system cannot tell (with an ERROR trace, unless
// the error is EAGAIN). May change errno.
int getLocalPort(int fd, int family);

// --- Connection lock (connectionLock.cpp): nothing at all when SOCKS mode is off ---

// Keep other threads' data calls on the socket waiting while its connect is rerouted. The thread is
// not cancelled meanwhile. False, with nothing to unlock, when this thread is connecting the socket
// already and calls from a signal handler.
bool lock_connection(SOCKETINFO* record, int callNumber);
void unlock_connection(SOCKETINFO* record, int callNumber);
// Waits until no rerouted connect is going on on the socket. False when it is this thread's own,
// whose exchange with the server a signal handler must not come between.
bool waitForReroutedConnect(SOCKETINFO* record, int callNumber);
inline bool waitConnectionDone(SOCKETINFO* record, int callNumber) {
    return !isSocksModeActive() || waitForReroutedConnect(record, callNumber);
}
// In a forked child: ends the connects of threads that do not exist here.
void endOtherThreadsConnects();

// --- Rerouting (socksConnect.cpp) ---

enum SocksStatus : int {
    SOCKS_SERVER_UNREACHABLE = -1,
    SOCKS_NOT_APPLICABLE = 0,
    SOCKS_CONNECTED = 1,
    SOCKS_LOCAL_LOOP = 2,
    SOCKS_FAILED = 3,
    SOCKS_REFUSED = 4,
};

// Decides whether a connect of the socket to `address` goes through a SOCKS server. `record` may be
// null; `socksError` receives the exchange's error number. Returns a SocksStatus.
int SocksConnect(SOCKETINFO* record, const struct sockaddr* address, socklen_t length,
                 int& socksError);

// --- Debug server (debugServer.cpp) ---

VELTRA_EXPORT extern int debugSocket;  // the connection; -1: none
VELTRA_EXPORT extern const char*
    debugIpVal;  // the server's address as the environment holds it, or null
VELTRA_EXPORT extern int debugPortVal;
VELTRA_EXPORT extern int debugServerActive;
VELTRA_EXPORT extern char
    initializationDone;  // set from the beginning: the debug server is switched off

// Connects to the debug server, unless initializationDone is set. Takes at most connectMaxTimeout
// seconds. A server that cannot be reached, reads too slowly or goes away gets no lines any more.
void initializeDebugServer();
