#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/single_threaded.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "base/ownDescriptors.h"
#include "base/utils.h"
#include "recording/AgentInterface.h"
#include "support/ListeningServer.h"
#include "support/RealCalls.h"
#include "support/TraceLog.h"

namespace {

using veltra::testing::ListeningServer;
using veltra::testing::ReplacedCall;
using veltra::testing::TraceLog;
using Lines = std::vector<std::string>;

// A socket of the application's own, which takes the place of the agent's connection.
int ownSocket = -1;
int taken = -1;

int numberOfConnection() {
    for (int fd = 0; fd < 1024; ++fd) {
        if (isOwnDescriptor(fd) && fileIdentity(fd) != fileIdentity(taken)) {
            int type = 0;
            socklen_t length = sizeof(type);
            if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length) == 0) return fd;
        }
    }
    return -1;
}

void takeConnection() {
    taken = numberOfConnection();
    EXPECT_NE(taken, -1);
    dup2(ownSocket, taken);
}

in_addr_t takeWhileTheAddressIsMade(const char*) {
    takeConnection();
    return htonl(INADDR_LOOPBACK);
}

int takeDuringTheConnect(int fd, const sockaddr*, socklen_t) {
    takeConnection();
    EXPECT_EQ(fd, taken);
    return 0;
}

AgentInterface* forked = nullptr;

// As the fork handler of a child does it, whose parent's thread is in its connect.
int forkDuringTheConnect(int fd, const sockaddr*, socklen_t) {
    forked->closeInheritedConnection();
    EXPECT_EQ(fd == taken, fileIdentity(fd) != FileIdentity{});
    errno = ECONNREFUSED;
    return -1;
}

int takeAndForkDuringTheConnect(int fd, const sockaddr* address, socklen_t length) {
    takeConnection();
    return forkDuringTheConnect(fd, address, length);
}

class TakenConnection : public testing::Test {
protected:
    TakenConnection() : port_(std::to_string(server_.port())) {
        veltra::testing::useRealCalls();
        // As in a program with threads: it is one of them that takes the number.
        __libc_single_threaded = 0;
        ownSocket = socket(AF_INET, SOCK_STREAM, 0);
        taken = -1;
        forked = &recorder_;
    }
    ~TakenConnection() override {
        close(ownSocket);
        close(taken);
    }

    Lines tracesOfMessage() {
        RecorderMessage message(RecorderMessageKind::exit, 5);
        errno = 77;
        recorder_.sendAMessage(message);
        EXPECT_EQ(errno, 77);
        return log_.takeLines();
    }

    static void expectLeftAlone() {
        EXPECT_EQ(fileIdentity(taken), fileIdentity(ownSocket));
        EXPECT_FALSE(isOwnDescriptor(taken));
        timeval longestSend{};
        socklen_t length = sizeof(longestSend);
        EXPECT_EQ(getsockopt(ownSocket, SOL_SOCKET, SO_SNDTIMEO, &longestSend, &length), 0);
        EXPECT_EQ(longestSend.tv_sec, 0);
        sockaddr_storage peer{};
        length = sizeof(peer);
        EXPECT_EQ(getpeername(ownSocket, reinterpret_cast<sockaddr*>(&peer), &length), -1);
        EXPECT_EQ(errno, ENOTCONN);
    }

    ListeningServer server_;
    const std::string port_;
    AgentInterface recorder_{nullptr, port_.c_str(), nullptr};
    TraceLog log_;
};

TEST_F(TakenConnection, IsNotConnectedForTheApplication) {
    const ReplacedCall<inet_addr_function> address(inet_addr_ptr, &takeWhileTheAddressIsMade);
    EXPECT_EQ(tracesOfMessage(),
              (Lines{"[DATA ][5]<exit/>",
                     "[ERROR]connect() returned SOCKET_ERROR, WSAGetLastError=9 ????? : unknown "
                     "code"}));
    expectLeftAlone();
}

TEST_F(TakenConnection, GetsNoMessageThatItsConnectHeldUp) {
    const ReplacedCall<connect_function> connect(connect_ptr, &takeDuringTheConnect);
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    close(ownSocket);
    ownSocket = ends[0];
    EXPECT_EQ(tracesOfMessage(),
              (Lines{"[DATA ][5]<exit/>",
                     "[ERROR]send() returned SOCKET_ERROR, WSAGetLastError=9 ????? : unknown "
                     "code"}));
    EXPECT_EQ(fileIdentity(taken), fileIdentity(ownSocket));
    char byte = 0;
    EXPECT_EQ(recv(ends[1], &byte, 1, MSG_DONTWAIT), -1);
    close(ends[1]);
}

TEST_F(TakenConnection, IsClosedInAForkedChild) {
    const ReplacedCall<connect_function> connect(connect_ptr, &forkDuringTheConnect);
    (void)tracesOfMessage();
    EXPECT_EQ(numberOfConnection(), -1);
}

TEST_F(TakenConnection, IsLeftToAForkedChildOfTheApplication) {
    const ReplacedCall<connect_function> connect(connect_ptr, &takeAndForkDuringTheConnect);
    (void)tracesOfMessage();
    expectLeftAlone();
}

}  // namespace
