#pragma once

#include <cerrno>
#include <cstring>

#include "HookTest.h"

// What the tests of sendto and recvfrom share: one scripted answer, and a recorded stream socket.
namespace datagram {

inline constexpr int codeBefore = 77;
inline constexpr int fd = 31;

inline ssize_t answer = 0;
inline int leftCode = 0;
inline int codeSeen = 0;

// What the real call was handed.
struct Handed {
    int socket;
    const void* buffer;
    size_t size;
    int flags;
    const sockaddr* address;
    socklen_t length;           // of sendto, or what recvfrom's pointer held
    const socklen_t* lengthAt;  // recvfrom's pointer
};
inline Handed handed;

inline sockaddr_in ipv4(const char* text, in_port_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, text, &address.sin_addr);
    return address;
}

inline sockaddr_in6 ipv6(const char* text, in_port_t port) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    inet_pton(AF_INET6, text, &address.sin6_addr);
    return address;
}

template <typename Address>
sockaddr* generic(Address& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

template <typename Address>
const sockaddr* generic(const Address& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

class DatagramHook : public HookTest {
protected:
    DatagramHook() {
        nameAddress("BUFFER", buffer);
        createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    }

    // Makes the call and checks that result and error code are handed on.
    template <typename Call>
    void call(ssize_t result, int code, Call&& hook) {
        answer = result;
        leftCode = code;
        errno = codeBefore;
        EXPECT_EQ(hook(), result);
        EXPECT_EQ(errno, code);
        EXPECT_EQ(codeSeen, codeBefore);
        EXPECT_EQ(handed.socket, fd);
        EXPECT_EQ(handed.buffer, buffer);
    }

    void expectTraceAndMessage(Lines trace, const std::string& message) {
        trace.push_back(dataTrace(1, message));
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(takeMessages(), Lines{message});
    }

    void expectTraceOnly(const Lines& trace) {
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(takeMessages(), Lines{});
    }

    char buffer[6] = "hello";
};

}  // namespace datagram
