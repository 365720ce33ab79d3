#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "recording/AgentInterface.h"
#include "support/KeptSignal.h"
#include "support/RealCalls.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using veltra::testing::block;
using veltra::testing::blockedSignals;
using veltra::testing::CountedSignal;
using veltra::testing::expectKeptPending;
using veltra::testing::expectNotLeftPending;
using veltra::testing::expectNotRaised;
using veltra::testing::pendingSignals;
using veltra::testing::ReplacedCall;
using veltra::testing::sendToProcess;
using veltra::testing::sendToThread;
using veltra::testing::TraceLog;
using veltra::testing::useRealCalls;

// A descriptor on which every send raises SIGPIPE: its other end is gone.
int brokenSocket(int, int, int) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return -1;
    close(ends[1]);
    return ends[0];
}

int acceptingConnect(int, const sockaddr*, socklen_t) {
    return 0;
}

// Takes the connection at once and resets it, before anything is sent on it.
int listener = -1;

int resetConnect(int fd, const sockaddr* address, socklen_t length) {
    if (::connect(fd, address, length) != 0) return -1;
    const int accepted = ::accept(listener, nullptr, nullptr);
    const linger atOnce = {1, 0};
    ::setsockopt(accepted, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
    ::close(accepted);
    return 0;
}

class Sigpipe : public testing::Test {
protected:
    void SetUp() override { useRealCalls(); }
    // Sends "exit" on a broken connection.
    void sendBroken() {
        const ReplacedCall socketCall(socket_ptr, &brokenSocket);
        const ReplacedCall connectCall(connect_ptr, &acceptingConnect);
        AgentInterface recorder(nullptr, nullptr, nullptr);
        RecorderMessage message(RecorderMessageKind::exit, 1);
        TraceLog log;
        errno = 77;
        recorder.sendAMessage(message);
        EXPECT_EQ(errno, 77);
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("[DATA ][1]<exit/>",
                                "[ERROR]send() returned SOCKET_ERROR, WSAGetLastError=32 ????? : "
                                "unknown code"));
    }

    CountedSignal sigpipe{SIGPIPE};
};

TEST_F(Sigpipe, IsNotRaised) {
    expectNotRaised(sigpipe, [this] { sendBroken(); });
}

TEST_F(Sigpipe, DoesNotBecomePendingWhileBlocked) {
    expectNotLeftPending(sigpipe, [this] { sendBroken(); });
}

TEST_F(Sigpipe, PendingForTheThreadStaysPending) {
    expectKeptPending(sigpipe, &sendToThread, [this] { sendBroken(); });
}

TEST_F(Sigpipe, PendingForTheProcessStaysPending) {
    expectKeptPending(sigpipe, &sendToProcess, [this] { sendBroken(); });
}

TEST_F(Sigpipe, OtherPendingSignalsStayPending) {
    block({SIGPIPE, SIGUSR1});
    const CountedSignal other(SIGUSR1);
    raise(SIGUSR1);
    sendBroken();
    EXPECT_THAT(pendingSignals(), ElementsAre(SIGUSR1));
    sigpipe.restoreMask();
    EXPECT_EQ(other.times(), 1);
}

TEST_F(Sigpipe, IgnoredSignalStaysIgnored) {
    struct sigaction ignoring = {};
    ignoring.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignoring, nullptr);
    sendBroken();
    struct sigaction now;
    sigaction(SIGPIPE, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_IGN);
    EXPECT_THAT(pendingSignals(), ElementsAre());
}

TEST_F(Sigpipe, MaskIsAsBeforeAfterASuccess) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    static int wholeSocket;
    wholeSocket = ends[0];
    const ReplacedCall<socket_function> socketCall(socket_ptr,
                                                   [](int, int, int) { return wholeSocket; });
    const ReplacedCall connectCall(connect_ptr, &acceptingConnect);
    AgentInterface recorder(nullptr, nullptr, nullptr);
    block({SIGPIPE, SIGUSR1});
    raise(SIGPIPE);
    const auto blocked = blockedSignals();
    RecorderMessage message(RecorderMessageKind::exit, 1);
    recorder.sendAMessage(message);
    char text[100];
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(read(ends[1], text, sizeof(text)))),
              "<exit/>\n");
    close(ends[1]);
    EXPECT_EQ(blockedSignals(), blocked);
    EXPECT_THAT(pendingSignals(), ElementsAre(SIGPIPE));
}

TEST_F(Sigpipe, IsNotRaisedByARecorderThatResets) {
    listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(::listen(listener, 5), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);

    const ReplacedCall connectCall(connect_ptr, &resetConnect);
    const auto blocked = blockedSignals();
    AgentInterface recorder(nullptr, std::to_string(ntohs(address.sin_port)).c_str(), nullptr);
    TraceLog log;
    for (int i = 0; i < 3; ++i) {
        RecorderMessage message(RecorderMessageKind::exit, 1);
        errno = 77;
        recorder.sendAMessage(message);
        EXPECT_EQ(errno, 77);
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("[DATA ][1]<exit/>",
                                "[ERROR]send() returned SOCKET_ERROR, WSAGetLastError=104 "
                                "WSAECONNRESET : Connection reset by peer"));
    }
    EXPECT_EQ(sigpipe.times(), 0);
    EXPECT_EQ(blockedSignals(), blocked);
    EXPECT_THAT(pendingSignals(), ElementsAre());
    ::close(listener);
}

}  // namespace
