#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/RealCalls.h"

namespace veltra::testing {

// What the fuzzer's bytes say about one exchange. The first two are options; what follows is a
// script of steps, one for each read that finds nothing left to read.
struct FuzzedInput {
    FuzzedInput(const std::uint8_t* data, std::size_t size);

    // First byte.
    bool isIpv6;         // the destination's family
    bool isNonBlocking;  // the application's socket
    bool isAppending;    // it has another status flag set, too
    bool isServerGone;   // the server closes before the first byte

    // Second byte.
    int connectError;  // 0: the connect to the server succeeds
    int selectResult;  // what the wait for a connect in progress gives

    // Each step begins with a byte. 0: nothing has arrived yet. Up to 0xEF: that many of the
    // following bytes arrive at once. Above: the read fails. Behind the last step the server
    // finishes its stream.
    const std::uint8_t* script;
    std::size_t scriptSize;
};

// The SOCKS server's end of a socket pair, whose other end takes the place of the application's
// socket, with the system calls between them scripted. One at a time. Ends the process if the
// client reads more often than the script can answer.
class FuzzedServer {
public:
    explicit FuzzedServer(const FuzzedInput& input);
    ~FuzzedServer();
    FuzzedServer(const FuzzedServer&) = delete;
    FuzzedServer& operator=(const FuzzedServer&) = delete;

    int client() const { return client_; }

    // All that the client has sent.
    std::string received() const;

private:
    static int connect(int fd, const sockaddr* address, socklen_t length);
    static int select(int count, fd_set* readable, fd_set* writable, fd_set* failed,
                      timeval* timeout);
    static ssize_t recv(int fd, void* buffer, std::size_t length, int flags);

    // Plays steps until there is something to read. An error number if the read is to fail, else 0.
    int play();

    const FuzzedInput& input_;
    std::size_t position_ = 0;
    std::size_t reads_ = 0;
    int client_ = -1;
    int server_ = -1;
    const ReplacedCall<connect_function> connectCall_;
    const ReplacedCall<select_function> selectCall_;
    const ReplacedCall<recv_function> recvCall_;
};

// Ends the process with the text, which the fuzzer takes for a crash, unless it holds.
void require(bool holds, const char* text);

}  // namespace veltra::testing
