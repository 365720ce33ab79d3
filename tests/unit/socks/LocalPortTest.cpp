#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "SocksTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::ReplacedCall;

// What the scripted getsockname answers.
int ownError = 0;
socklen_t askedLength = 0;

int scriptedGetsockname(int, sockaddr* address, socklen_t* length) {
    askedLength = *length;
    errno = ownError;
    if (ownError != 0) return -1;
    if (askedLength == sizeof(sockaddr_in6)) {
        reinterpret_cast<sockaddr_in6*>(address)->sin6_port = htons(0x1234);
    } else {
        reinterpret_cast<sockaddr_in*>(address)->sin_port = htons(0x5678);
    }
    return 0;
}

class LocalPort : public SocksTest {
protected:
    const ReplacedCall<getsockname_function> getsocknameCall{getsockname_ptr, &scriptedGetsockname};
};

TEST_F(LocalPort, IsAskedWithTheFamilysLength) {
    ownError = 0;
    EXPECT_EQ(getLocalPort(7, AF_INET6), 0x1234);
    EXPECT_EQ(askedLength, 28U);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]local port : 4660"));
    for (const int family : {AF_INET, AF_UNIX, 0, 99, -1}) {
        EXPECT_EQ(getLocalPort(7, family), 0x5678) << family;
        EXPECT_EQ(askedLength, 16U);
        EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]local port : 22136"));
    }
}

struct Failure {
    int error;
    const char* text;
};

constexpr Failure failures[] = {
    {9, "9 ????? : unknown code"},
    {88, "88 WSAENOTSOCK : Socket operation on nonsocket"},
    {105, "105 WSAENOBUFS : No buffer space available"},
};

TEST_F(LocalPort, FailuresAreTraced) {
    for (const auto& [error, text] : failures) {
        ownError = error;
        for (const int family : {AF_INET, AF_INET6}) {
            EXPECT_EQ(getLocalPort(7, family), 0);
            EXPECT_THAT(log.takeLines(),
                        ElementsAre(std::string("[ERROR]failed to retrieve sock options (SOCKET "
                                                "ERROR : ") +
                                    text + ")"));
        }
    }
}

TEST_F(LocalPort, TryAgainIsSilent) {
    ownError = EAGAIN;
    EXPECT_EQ(getLocalPort(7, AF_INET), 0);
    EXPECT_EQ(getLocalPort(7, AF_INET6), 0);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

// The port that the system gave to a socket bound to port 0.
class AssignedPort : public SocksTest, public testing::WithParamInterface<int> {};

TEST_P(AssignedPort, IsTold) {
    const int fd = ::socket(GetParam(), SOCK_STREAM, 0);
    sockaddr_in6 address{};
    address.sin6_family = static_cast<sa_family_t>(GetParam());
    socklen_t length = GetParam() == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const int port = ntohs(address.sin6_port);
    ASSERT_NE(port, 0);
    EXPECT_EQ(getLocalPort(fd, GetParam()), port);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]local port : " + std::to_string(port)));
    ::close(fd);
}

INSTANTIATE_TEST_SUITE_P(Families, AssignedPort, testing::Values(AF_INET, AF_INET6),
                         testing::PrintToStringParamName());

}  // namespace
