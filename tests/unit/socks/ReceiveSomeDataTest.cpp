#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "SocksTest.h"
#include "socks/receiveSomeData.h"
#include "support/FailingMalloc.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::FailingMalloc;
using veltra::testing::ReplacedCall;

// One end of a pair of sockets, read with the client's read; the other end is the test's.
class ReceiveSomeData : public SocksTest {
protected:
    ReceiveSomeData() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()), 0); }
    ~ReceiveSomeData() override {
        for (const int end : ends_)
            ::close(end);
    }

    void arrive(const std::string& bytes) const {
        EXPECT_EQ(::send(ends_[1], bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
    }
    void finish() const { ::shutdown(ends_[1], SHUT_WR); }

    // One read; errno is 77 before.
    bool read(int length, const char* label) {
        errno = 77;
        const bool result = receiveSomeData(ends_[0], buffer.data(), length, socksError, label);
        error = errno;
        return result;
    }

    std::array<unsigned char, 32> buffer = {0xEE, 0xEE, 0xEE, 0xEE};
    int socksError = 55;
    int error = 0;

private:
    std::array<int, 2> ends_{};
};

TEST_F(ReceiveSomeData, TakesAndTracesWhatWasAskedFor) {
    arrive(std::string("\x05\x00\xAB\xCD\xEF", 5));
    EXPECT_TRUE(read(2, "selected method"));
    EXPECT_EQ(buffer[0], 5);
    EXPECT_EQ(buffer[1], 0);
    EXPECT_EQ(buffer[2], 0xEE);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(socksError, 55);
    EXPECT_TRUE(read(1, "any label"));
    EXPECT_EQ(buffer[0], 0xAB);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]recv selected method OK : 05 00 ",
                                             "[INFO ]recv any label OK : AB "));
}

TEST_F(ReceiveSomeData, TakesFewerBytesThanAskedFor) {
    arrive("\x7F\x80\xFF");
    EXPECT_TRUE(read(16, "redirect IPV6 address"));
    EXPECT_EQ(buffer[2], 0xFF);
    EXPECT_EQ(buffer[3], 0xEE);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]recv redirect IPV6 address OK : 7F 80 FF "));
}

TEST_F(ReceiveSomeData, EndOfStreamCountsAsSuccessWithTheFirstByteZero) {
    finish();
    EXPECT_TRUE(read(4, "format"));
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(buffer[1], 0xEE);
    EXPECT_EQ(error, 77);
    EXPECT_EQ(socksError, 55);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]recv format OK : "));
}

TEST_F(ReceiveSomeData, WithoutRoomReadsNothing) {
    arrive("x");
    for (const int length : {0, -1, -2147483647 - 1}) {
        EXPECT_FALSE(read(length, "format"));
        EXPECT_EQ(error, 77);
    }
    errno = 77;
    EXPECT_FALSE(receiveSomeData(1, nullptr, 1, socksError, "format"));
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(socksError, 55);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_TRUE(read(1, "format"));
    EXPECT_EQ(buffer[0], 'x');
}

// How many answers the scripted recv gives before the system's.
int failuresLeft = 0;
int failure = 0;
int recvCalls = 0;

ssize_t scriptedRecv(int fd, void* buffer, std::size_t length, int flags) {
    ++recvCalls;
    EXPECT_EQ(flags, 0);
    EXPECT_EQ(*static_cast<unsigned char*>(buffer), 0);
    if (failuresLeft == 0) return ::recv(fd, buffer, length, flags);
    --failuresLeft;
    errno = failure;
    return -1;
}

class FailingReceive : public ReceiveSomeData {
protected:
    FailingReceive() { recvCalls = 0; }

    const ReplacedCall<recv_function> recvCall{recv_ptr, &scriptedRecv};
};

TEST_F(FailingReceive, RepeatsAsLongAsThereIsNothingYet) {
    for (const int again : {1, 2, 1000}) {
        recvCalls = 0;
        failuresLeft = again;
        failure = EAGAIN;
        arrive("\x09");
        EXPECT_TRUE(read(2, "connect status"));
        EXPECT_EQ(recvCalls, again + 1);
        EXPECT_EQ(buffer[0], 9);
        EXPECT_EQ(error, 11);
        EXPECT_EQ(socksError, 55);
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("[INFO ]recv connect status OK after some time... : 09 "));
    }
}

struct Failure {
    int error;
    const char* text;
};

constexpr Failure failures[] = {
    {4, "4 ????? : unknown code"},
    {104, "104 WSAECONNRESET : Connection reset by peer"},
    {110, "110 WSAETIMEDOUT : Connection timed out"},
};

TEST_F(FailingReceive, AnyOtherErrorEndsIt) {
    for (const auto& [code, text] : failures) {
        recvCalls = 0;
        failuresLeft = 1;
        failure = code;
        EXPECT_FALSE(read(2, "reserved field"));
        EXPECT_EQ(recvCalls, 1);
        EXPECT_EQ(socksError, code);
        EXPECT_EQ(error, 111);
        EXPECT_THAT(log.takeLines(),
                    ElementsAre(std::string("[ERROR]failed to receive reserved field (SOCKET "
                                            "ERROR : ") +
                                text + ")"));
    }
}

TEST_F(ReceiveSomeData, ShortageOfMemoryIsAFailureWithoutAnError) {
    arrive("\x01\x02");
    {
        const FailingMalloc none;
        EXPECT_FALSE(read(2, "format"));
    }
    EXPECT_EQ(socksError, 55);
    EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]malloc error in \"receiveSomeData\""));
}

// Three characters for each byte and the end of the text.
TEST_F(ReceiveSomeData, AsksForNoMoreMemoryThanItsTextNeeds) {
    arrive("\x01\x02");
    {
        const FailingMalloc fromEight(8);
        EXPECT_TRUE(read(16, "format"));
    }
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]recv format OK : 01 02 "));
    arrive("\x01\x02");
    {
        const FailingMalloc fromSeven(7);
        EXPECT_FALSE(read(16, "format"));
    }
    EXPECT_THAT(log.takeLines(), ElementsAre("[ERROR]malloc error in \"receiveSomeData\""));
}

}  // namespace
