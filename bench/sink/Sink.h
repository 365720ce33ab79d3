#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace veltra::bench {

// What a sink does with the connections to one of its ports.
enum class PortKind {
    discard,  // reads to the end of the stream
    socks,    // plays a SOCKS 5 server that reaches every destination, then reads to the end
};

// How fast the sink is: the work it pretends to do for each connection, and how many connections
// may wait for it.
struct SinkPace {
    std::int64_t workNanoseconds = 0;
    int backlog = 4096;
};

// Takes everything that is sent to its ports on 127.0.0.1, as fast as one thread can, and counts
// it.
class Sink {
public:
    explicit Sink(SinkPace pace);
    ~Sink();
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    // Opens a port chosen by the system and returns it.
    std::uint16_t open(PortKind kind);

    // Calls `onLine` for each byte that can be read from the descriptor; false ends serve().
    void serve(int control, const std::function<bool(char)>& onByte);

    struct Count {
        std::uint64_t connections;  // that have come to their end
        std::uint64_t bytes;
        std::uint64_t errors;  // connections that ended otherwise than by the end of their stream
    };
    // What a port got since this was last asked.
    Count take(std::uint16_t port);

private:
    struct Port {
        std::uint16_t number;
        PortKind kind;
        int listener;
        Count count;
    };
    struct Connection {
        int port = -1;    // index of the port; -1: no connection
        int answers = 0;  // how many turns the SOCKS server still has
    };

    void acceptAll(int port);
    void readFrom(int descriptor);
    void finish(int descriptor, bool isError);

    const SinkPace pace_;
    const int epoll_;
    std::vector<Port> ports_;
    std::vector<Connection> connections_;  // by descriptor
    std::vector<char> buffer_;
};

}  // namespace veltra::bench
