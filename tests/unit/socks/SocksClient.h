#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

#include "SocksTest.h"
#include "support/RealCalls.h"
#include "support/SocksServer.h"

using Lines = std::vector<std::string>;

// What the scripted recv does: it waits until the system has something to read, so that the traces
// do not depend on the server's speed.
struct ReadScript {
    int againBeforeEach = 0;  // answers with EAGAIN in front of every successful read
    std::size_t most = SIZE_MAX;
    int failingRead = 0;  // the number of the read, from 1, that fails with `error`
    int error = 0;
    int reads = 0;                      // successful so far
    std::vector<int> statusFlags = {};  // the descriptor's at each of them
};

// A test of the SOCKS client, in SOCKS mode.
class SocksClient : public SocksTest {
protected:
    SocksClient();
    ~SocksClient() override;

    // The servers' texts and ports as the environment gave them are 127.0.0.1 (1081) and ::1
    // (1082); they show in traces only, and this is where the server really is.
    static void useServer(int family, std::uint16_t port);

    // Opens a stream socket, which closes with the test, and registers it.
    int open(int family, int type = SOCK_STREAM);

    void closeSocket();

    SOCKETINFO* record() const { return getSocketInfo(socket_); }

    static ReadScript script;

private:
    int socket_ = -1;
    const veltra::testing::ReplacedCall<recv_function> recvCall_;
};

// A send that fails with ECONNRESET.
ssize_t brokenSend(int fd, const void* buffer, std::size_t length, int flags);

Lines joined(std::initializer_list<Lines> parts);

// The traces of a handshake: up to the connect, and from there to the method's acceptance.
Lines startTrace();
Lines ipv4ServerTrace();
Lines ipv6ServerTrace(std::uint16_t port);
Lines greetingTrace();
Lines acceptanceTrace();

// The whole of a handshake for an IPv4 destination that succeeds.
Lines ipv4HandShakeTrace();
