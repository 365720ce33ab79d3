#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>

// Sockets for measurements. What is not to be measured is done past the C library's names, so that
// no agent sees it.
namespace veltra::bench {

// The result, or the end of the program with the call's name and error if it is -1.
long checked(long result, const char* call);

// An address from "IP:PORT".
sockaddr_in addressFrom(const std::string& text);

// Opens a stream socket and connects it, with the calls that an agent sees.
int connectedSocket(const sockaddr_in& address);

// Opens a connection, sends the bytes and closes: what a message costs at least. Without `linger`
// the port stays taken for a minute.
void sendOneMessage(const sockaddr_in& recorder, const char* bytes, std::size_t length,
                    bool linger);

// A stream connection of the program with itself. The near end is a socket that an agent knows, the
// far one is not.
class OwnConnection {
public:
    OwnConnection();
    ~OwnConnection();
    OwnConnection(const OwnConnection&) = delete;
    OwnConnection& operator=(const OwnConnection&) = delete;

    int near() const { return near_; }

    // Sends `length` bytes at the far end, unseen, as the answer to a request: on a connection that
    // only ever receives, the system now acknowledges within the receiving call and now does not.
    void answerFromFarEnd(const char* bytes, std::size_t length) const;
    // Takes `length` bytes at the far end, unseen.
    void drainFarEnd(std::size_t length) const;

private:
    int near_;
    int far_;
};

}  // namespace veltra::bench
