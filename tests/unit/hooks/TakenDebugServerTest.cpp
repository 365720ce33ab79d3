#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/single_threaded.h>

#include <cerrno>
#include <cstdlib>

#include "base/ownDescriptors.h"
#include "socks/Socks.h"
#include "support/ListeningServer.h"
#include "support/RealCalls.h"
#include "support/SleepingThread.h"
#include "support/TraceLog.h"

namespace {

using Lines = std::vector<std::string>;
using veltra::testing::ListeningServer;
using veltra::testing::ReplacedCall;
using veltra::testing::SleepingThread;
using veltra::testing::TraceLog;

// A connection of the application's own, whose other end tells what came through it.
class OwnConnection {
public:
    OwnConnection() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0); }
    ~OwnConnection() {
        close(ends_[0]);
        close(ends_[1]);
    }
    OwnConnection(const OwnConnection&) = delete;
    OwnConnection& operator=(const OwnConnection&) = delete;

    int takePlaceOf(int fd) const { return dup2(ends_[0], fd); }
    FileIdentity identity() const { return fileIdentity(ends_[0]); }

    bool hasGotBytes() const {
        char byte = 0;
        return recv(ends_[1], &byte, 1, MSG_DONTWAIT) != -1;
    }
    timeval longestSend() const {
        timeval time{};
        socklen_t length = sizeof(time);
        getsockopt(ends_[0], SOL_SOCKET, SO_SNDTIMEO, &time, &length);
        return time;
    }

private:
    int ends_[2] = {-1, -1};
};

int refuse(int, const sockaddr*, socklen_t) {
    errno = ECONNREFUSED;
    return -1;
}

class TakenDebugServer : public testing::Test {
protected:
    TakenDebugServer() { veltra::testing::useRealCalls(); }
    ~TakenDebugServer() override {
        if (debugSocket != -1) close(debugSocket);
        debugSocket = -1;
    }

    static void start(std::uint16_t port) {
        initializationDone = 0;
        setenv("VELTRA_SOCKET_AGENT_DEBUG_IP", "127.0.0.1", 1);
        setenv("VELTRA_SOCKET_AGENT_DEBUG_PORT", std::to_string(port).c_str(), 1);
        initializeDebugServer();
    }
    void startWith(ListeningServer& server) {
        start(server.port());
        server.accept();
        (void)log.takeText();
    }

    const OwnConnection own;
    TraceLog log;
};

TEST_F(TakenDebugServer, GetsNoMoreLines) {
    ListeningServer server;
    startWith(server);
    own.takePlaceOf(debugSocket);
    x_disp(TRACE_INFO, "not for the application");
    EXPECT_FALSE(own.hasGotBytes());
    EXPECT_EQ(log.takeLines(), Lines{"[INFO ]not for the application"});
}

TEST_F(TakenDebugServer, GetsNotTheLineThatWaitedMeanwhile) {
    ListeningServer server;
    startWith(server);
    const std::string much(std::size_t{1} << 20, 'x');
    while (send(debugSocket, much.data(), much.size(), MSG_DONTWAIT) > 0) {
    }
    {
        const SleepingThread line([] { sendDebugMessage("not for the application\n"); });
        EXPECT_TRUE(line.isInside());
        own.takePlaceOf(debugSocket);
        (void)server.takeToEnd();
    }
    EXPECT_FALSE(own.hasGotBytes());
}

const OwnConnection* takingPlace = nullptr;

TEST_F(TakenDebugServer, IsLeftToTheApplicationThatTookItDuringTheConnect) {
    takingPlace = &own;
    const ReplacedCall<connect_function> connect(
        connect_ptr, [](int fd, const sockaddr*, socklen_t) -> int {
            EXPECT_TRUE(isOwnDescriptor(fd));
            return takingPlace->takePlaceOf(fd) == fd ? 0 : -1;
        });
    start(4711);
    x_disp(TRACE_INFO, "not for the application");
    EXPECT_FALSE(own.hasGotBytes());
    EXPECT_EQ(own.longestSend().tv_sec, 0);
    EXPECT_EQ(fileIdentity(debugSocket), own.identity());
    EXPECT_FALSE(isOwnDescriptor(debugSocket));
    const Lines lines = log.takeLines();
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[5], "[INFO ]connect() done on debug server");
    EXPECT_EQ(lines[6], "[INFO ]not for the application");
}

TEST_F(TakenDebugServer, IsTheAgentsOwnAlsoWhenNobodyAnswered) {
    const ReplacedCall<connect_function> connect(connect_ptr, &refuse);
    start(4711);
    EXPECT_NE(debugSocket, -1);
    EXPECT_TRUE(isOwnDescriptor(debugSocket));
}

int createdType = 0;

int noSocket(int, int type, int) {
    createdType = type;
    return -1;
}

// Another thread may execute a program at any moment.
TEST_F(TakenDebugServer, IsNeverOpenToExecutedPrograms) {
    const ReplacedCall<socket_function> socket(socket_ptr, &noSocket);
    __libc_single_threaded = 0;
    start(4711);
    EXPECT_EQ(createdType, SOCK_STREAM | SOCK_CLOEXEC);
}

TEST_F(TakenDebugServer, IsAPlainStreamWhereThereIsOneThread) {
    const ReplacedCall<socket_function> socket(socket_ptr, &noSocket);
    __libc_single_threaded = 1;
    start(4711);
    EXPECT_EQ(createdType, SOCK_STREAM);
}

}  // namespace
