#pragma once

#include <netinet/in.h>

#include <string>

// What the driver measures. Every function makes `count` calls and returns the nanoseconds that one
// of them took, unless it says otherwise.
namespace veltra::bench {

// Calls on descriptors that are no sockets of the program's making (plainCalls.cpp): "write" to
// /dev/null, "read" from /dev/zero, "recv" on an empty socket pair; one byte each.
double measurePlainCall(const std::string& call, int count);

// Two threads, each making `count` plain writes to a descriptor of its own. Nanoseconds for a call
// of either.
double measureTwoThreads(int count);

// Calls on sockets whose data is not recorded (datagramCalls.cpp): "udp", "local"; "recv" finds
// nothing, "exchange" sends a byte to itself and receives it. "oldest" is "recv" on the UDP socket
// that was opened first.
double measureUnrecordedCall(const std::string& socket, const std::string& call, int count);

// Opens that many sockets, and before them those for the scenarios that need the oldest.
void openSockets(int count);

// recv, finding nothing, on a stream connection to the address.
double measureConnectedReceive(const sockaddr_in& address, int count);

// Opens a connection to the address and closes it.
double measureConnectAndClose(const sockaddr_in& address, int count);

// A message that follows a call, made by the program itself: the least that recording can cost.
struct Floor {
    sockaddr_in recorder;
    std::size_t length;  // of the message in bytes; 0: no message
    bool linger;         // whether the port is given back at once
};

// One of the eight data calls, with `size` bytes of text, on a stream connection; then the message.
// "none" is no call, the message alone (streamCalls.cpp).
double measureStreamCall(const std::string& call, std::size_t size, const Floor& floor, int count);

// send of `size` bytes of text to the address, where somebody reads; then the message.
double measureBulkSend(const sockaddr_in& reader, std::size_t size, const Floor& floor, int count);

// send calls of `size` bytes of text, each with its message, without a pause for so many seconds.
struct FlatOut {
    long calls;
    double seconds;
    double median;  // nanoseconds of a call
    double percentile99;
    double longest;
    bool isBindPossible;  // whether a port was to be had for the program's own bind afterwards
};
FlatOut runFlatOut(double seconds, std::size_t size, const Floor& floor);

}  // namespace veltra::bench
