#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace veltra::testing {

// One turn of a scripted SOCKS server: it waits for a number of bytes and then sends its answer.
struct SocksTurn {
    std::size_t awaited;
    std::string answer;
};

// What follows the last turn.
enum class SocksEnding {
    listen,  // the server goes on reading
    finish,  // it sends the end of the stream first
    reset,   // it resets the connection
};

// A SOCKS 5 server on a loopback port of its own that plays its turns to one client, whatever that
// sends, and keeps what it received.
class SocksServer {
public:
    explicit SocksServer(std::vector<SocksTurn> turns, SocksEnding ending = SocksEnding::listen,
                         int family = AF_INET);
    ~SocksServer();
    SocksServer(const SocksServer&) = delete;
    SocksServer& operator=(const SocksServer&) = delete;

    std::uint16_t port() const { return port_; }

    // All that the client has sent when it closes; waits for that. Nothing once the server has
    // reset the connection.
    std::string received();

    // Whether a client has been accepted so far.
    bool hasClient() const { return client_.load() != -1; }

private:
    void serve(const std::vector<SocksTurn>& turns, SocksEnding ending);
    bool receive(std::size_t count);

    std::uint16_t port_ = 0;  // first: opening the listener fills it in
    const int listener_;
    std::atomic<int> client_{-1};
    std::atomic<bool> stopping_{false};
    std::string received_;
    std::thread thread_;
};

// A port of 127.0.0.1 that is taken and that nobody listens on.
class RefusingPort {
public:
    RefusingPort();
    ~RefusingPort();
    RefusingPort(const RefusingPort&) = delete;
    RefusingPort& operator=(const RefusingPort&) = delete;

    std::uint16_t number() const { return number_; }

private:
    std::uint16_t number_ = 0;  // first: taking the port fills it in
    const int holder_;
};

// Bytes given by number.
template <typename... Bytes>
std::string bytes(Bytes... values) {
    return {static_cast<char>(values)...};
}

// The client's greeting, and the server's usual answer to it.
inline const std::string socksGreeting = bytes(5, 1, 0);
inline const std::string socksMethodAccepted = bytes(5, 0);

// A turn that accepts the greeting, and lengths of the requests that follow.
inline const SocksTurn socksAcceptance = {3, socksMethodAccepted};
inline constexpr std::size_t socksIpv4Request = 10;
inline constexpr std::size_t socksIpv6Request = 22;

}  // namespace veltra::testing
