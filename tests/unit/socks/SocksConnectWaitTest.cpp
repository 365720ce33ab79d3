#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "SocksHandShakeTest.h"

namespace {

using testing::Each;
using veltra::testing::bytes;
using veltra::testing::ReplacedCall;
using veltra::testing::socksAcceptance;
using veltra::testing::SocksServer;

// A real connect that claims to be still in progress with this error.
int pendingError = 0;

int pendingConnect(int fd, const sockaddr* address, socklen_t length) {
    ::connect(fd, address, length);
    errno = pendingError;
    return -1;
}

// How the scripted select was asked, and what it answers.
struct SelectScript {
    int result;
    int calls;
    int count;
    bool hasReading, hasWriting, hasExceptions;
    long seconds, microseconds;
    int descriptor;
    bool descriptorIsInBoth, descriptorIsAlone;
};
SelectScript selectScript{};

int inSet(fd_set* set) {
    int members = 0;
    for (int fd = 0; fd < FD_SETSIZE; ++fd)
        members += FD_ISSET(fd, set) ? 1 : 0;
    return members;
}

int scriptedSelect(int count, fd_set* reading, fd_set* writing, fd_set* exceptions,
                   timeval* timeout) {
    SelectScript& script = selectScript;
    ++script.calls;
    script.count = count;
    script.hasReading = reading != nullptr;
    script.hasWriting = writing != nullptr;
    script.hasExceptions = exceptions != nullptr;
    script.seconds = timeout->tv_sec;
    script.microseconds = timeout->tv_usec;
    script.descriptorIsInBoth =
        FD_ISSET(script.descriptor, reading) && FD_ISSET(script.descriptor, writing);
    script.descriptorIsAlone = inSet(reading) == 1 && inSet(writing) == 1;
    return script.result;
}

class PendingHandShake : public SocksHandShake {
protected:
    const ReplacedCall<connect_function> connectCall{connect_ptr, &pendingConnect};
};

TEST_F(PendingHandShake, WaitsWithACountOfZeroAndTheWholeTimeout) {
    const ReplacedCall<select_function> selectCall(select_ptr, &scriptedSelect);
    connectMaxTimeout.store(17);
    for (const int code : {115, 11}) {
        for (const int answer : {0, 2, -1}) {
            SocksServer server({socksAcceptance});
            useServer(AF_INET, server.port());
            pendingError = code;
            const int fd = open(AF_INET);
            selectScript = {};
            selectScript.result = answer;
            selectScript.descriptor = fd;
            EXPECT_EQ(shakeHands(fd, AF_INET), -1);
            EXPECT_EQ(socksError, 110);
            EXPECT_EQ(error, 111);
            EXPECT_EQ(selectScript.calls, 1);
            EXPECT_EQ(selectScript.count, 0);
            EXPECT_TRUE(selectScript.hasReading);
            EXPECT_TRUE(selectScript.hasWriting);
            EXPECT_FALSE(selectScript.hasExceptions);
            EXPECT_EQ(selectScript.seconds, 17);
            EXPECT_EQ(selectScript.microseconds, 0);
            EXPECT_TRUE(selectScript.descriptorIsInBoth);
            EXPECT_TRUE(selectScript.descriptorIsAlone);
            EXPECT_EQ(
                log.takeLines(),
                joined({startTrace(),
                        ipv4ServerTrace(),
                        {"[ERROR]connect() timeout expired (" + std::to_string(answer) + ")"}}));
        }
    }
}

TEST_F(PendingHandShake, GoesOnWhenTheWaitSaysSo) {
    const ReplacedCall<select_function> selectCall(select_ptr, &scriptedSelect);
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    pendingError = EINPROGRESS;
    const int fd = open(AF_INET);
    selectScript = {};
    selectScript.result = 1;
    selectScript.descriptor = fd;
    EXPECT_EQ(shakeHands(fd, AF_INET), 1);
    EXPECT_EQ(socksError, 0);
    EXPECT_EQ(error, 115);
    EXPECT_EQ(log.takeLines(), joined({startTrace(),
                                       ipv4ServerTrace(),
                                       {"[INFO ]connect() ok after some time...."},
                                       greetingTrace(),
                                       acceptanceTrace()}));
}

// The system's select never sees the socket, although that is connected.
TEST_F(PendingHandShake, RunsIntoTheTimeoutAlthoughConnected) {
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    pendingError = EINPROGRESS;
    connectMaxTimeout.store(1);
    EXPECT_EQ(shakeHands(open(AF_INET), AF_INET), -1);
    EXPECT_EQ(socksError, 110);
    EXPECT_EQ(error, 111);
    EXPECT_EQ(log.takeLines(),
              joined({startTrace(), ipv4ServerTrace(), {"[ERROR]connect() timeout expired (0)"}}));
    closeSocket();
    EXPECT_EQ(server.received(), "");
}

// Status flags of every kind, whatever the outcome; the exchange itself is a blocking one.
class StatusFlags : public SocksHandShake, public testing::WithParamInterface<int> {
protected:
    int openWithFlags() {
        const int fd = open(AF_INET);
        EXPECT_EQ(::fcntl(fd, F_SETFL, GetParam()), 0);
        flags_ = ::fcntl(fd, F_GETFL);
        return fd;
    }
    void expectFlagsOf(int fd) const { EXPECT_EQ(::fcntl(fd, F_GETFL), flags_); }
    int blockingFlags() const { return flags_ & ~O_NONBLOCK; }

private:
    int flags_ = 0;
};

TEST_P(StatusFlags, AreRestoredAfterSuccess) {
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    const int fd = openWithFlags();
    EXPECT_EQ(shakeHands(fd, AF_INET), 1);
    expectFlagsOf(fd);
    EXPECT_EQ(script.statusFlags, std::vector<int>{blockingFlags()});
}

TEST_P(StatusFlags, AreRestoredAfterARefusedConnect) {
    const veltra::testing::RefusingPort port;
    useServer(AF_INET, port.number());
    const int fd = openWithFlags();
    EXPECT_EQ(shakeHands(fd, AF_INET), -1);
    expectFlagsOf(fd);
}

TEST_P(StatusFlags, AreRestoredAfterATimeout) {
    const ReplacedCall<connect_function> connectCall(connect_ptr, &pendingConnect);
    pendingError = EINPROGRESS;
    connectMaxTimeout.store(0);
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    const int fd = openWithFlags();
    EXPECT_EQ(shakeHands(fd, AF_INET), -1);
    EXPECT_EQ(socksError, 110);
    expectFlagsOf(fd);
}

TEST_P(StatusFlags, AreRestoredAfterAFailedSend) {
    const ReplacedCall<send_function> sendCall(send_ptr, &brokenSend);
    SocksServer server({socksAcceptance});
    useServer(AF_INET, server.port());
    const int fd = openWithFlags();
    EXPECT_EQ(shakeHands(fd, AF_INET), 3);
    expectFlagsOf(fd);
}

TEST_P(StatusFlags, AreRestoredAfterAFailedReadAndARefusal) {
    for (const int failingRead : {1, 0}) {
        script = {};
        script.failingRead = failingRead;
        script.error = ECONNRESET;
        SocksServer server({{3, bytes(5, 0xFF)}});
        useServer(AF_INET, server.port());
        const int fd = openWithFlags();
        EXPECT_EQ(shakeHands(fd, AF_INET), 3);
        EXPECT_EQ(socksError, failingRead == 1 ? 104 : 93);
        expectFlagsOf(fd);
        EXPECT_THAT(script.statusFlags, Each(blockingFlags()));
    }
}

INSTANTIATE_TEST_SUITE_P(Chosen, StatusFlags,
                         testing::Values(0, O_NONBLOCK, O_APPEND, O_NONBLOCK | O_APPEND));

}  // namespace
