#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "SocksTest.h"

namespace {

using testing::IsEmpty;
using veltra::testing::ReplacedCall;

// What the scripted getsockopt answers.
int optionResult = 0;
int optionValue = 0;
int optionCalls = 0;

int scriptedGetsockopt(int fd, int level, int name, void* value, socklen_t* length) {
    ++optionCalls;
    EXPECT_EQ(fd, 20);
    EXPECT_EQ(level, SOL_SOCKET);
    EXPECT_EQ(name, SO_TYPE);
    EXPECT_EQ(*length, 4U);
    errno = 9999;
    *static_cast<int*>(value) = optionValue;
    return optionResult;
}

class StreamSocket : public SocksTest {
protected:
    StreamSocket() {
        optionResult = 0;
        optionCalls = 0;
    }
    static bool isStream(int family) {
        errno = 77;
        const bool result = isStreamSocket(20, family);
        EXPECT_EQ(errno, 77);
        return result;
    }

    const ReplacedCall<getsockopt_function> getsockoptCall{getsockopt_ptr, &scriptedGetsockopt};
};

TEST_F(StreamSocket, IsToldByItsType) {
    for (const int family : {2, 10}) {
        for (const int type : {0, 1, 2, 3, 5, 6, 0x801}) {
            optionValue = type;
            EXPECT_EQ(isStream(family), type == 1) << type;
        }
    }
    EXPECT_EQ(optionCalls, 14);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(StreamSocket, OfAnotherFamilyIsNoneAndNotAsked) {
    optionValue = 1;
    for (const int family : {0, 1, 3, 9, 11, 16, -1, 0x10002})
        EXPECT_FALSE(isStream(family));
    EXPECT_EQ(optionCalls, 0);
}

TEST_F(StreamSocket, IsNoneWhenTheSystemCannotTell) {
    optionResult = -1;
    optionValue = 1;
    EXPECT_FALSE(isStream(2));
    EXPECT_FALSE(isStream(10));
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

using RealStreamSocket = SocksTest;

TEST_F(RealStreamSocket, IsToldByTheSystem) {
    const int stream = ::socket(AF_INET, SOCK_STREAM, 0);
    const int datagram = ::socket(AF_INET, SOCK_DGRAM, 0);
    errno = 77;
    EXPECT_TRUE(isStreamSocket(stream, AF_INET));
    EXPECT_FALSE(isStreamSocket(datagram, AF_INET));
    ::close(stream);
    ::close(datagram);
    errno = 77;
    EXPECT_FALSE(isStreamSocket(stream, AF_INET));
    EXPECT_EQ(errno, 77);
}

}  // namespace
