#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "hooks/HookSocket.h"
#include "socks/Socks.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAreArray;
using Lines = std::vector<std::string>;

constexpr const char* stars =
    "[INFO ]*************************************************************";

int closedDescriptor = -1;
int closeError = 0;

int scriptedClose(int fd) {
    closedDescriptor = fd;
    if (closeError == 0) return 0;
    errno = closeError;
    return -1;
}

struct Case {
    const char* name;
    int socksStatus;
    int errnoBefore;
    int closeError;
    Lines traces;
    bool toReconnect;
    int loopback;
    int error;  // 42 where it is left alone
    bool closes;
    int result;
};

class SocksStatus : public testing::TestWithParam<Case> {
protected:
    SocksStatus() {
        close_ptr = &scriptedClose;
        WSAGetLastError_ptr = &WSAGetLastError;
    }
};

TEST_P(SocksStatus, DecidesWhatConnectDoesNext) {
    const Case& given = GetParam();
    closeError = given.closeError;
    veltra::testing::TraceLog log;
    bool toReconnect = !given.toReconnect;
    int loopback = 99;
    int error = 42;
    errno = given.errnoBefore;
    EXPECT_EQ(checkSocksStatus(31, given.socksStatus, toReconnect, loopback, error), given.result);
    EXPECT_EQ(toReconnect, given.toReconnect);
    EXPECT_EQ(loopback, given.loopback);
    EXPECT_EQ(error, given.error);
    EXPECT_EQ(closedDescriptor, given.closes ? 31 : -1);
    EXPECT_THAT(log.takeLines(), ElementsAreArray(given.traces));
}

INSTANTIATE_TEST_SUITE_P(
    Every, SocksStatus,
    testing::Values(
        Case{"Unreachable",
             -1,
             111,
             0,
             {"[ERROR]connect failed on SOCKS server", stars},
             true,
             0,
             42,
             false,
             -1},
        Case{"NotApplicable", 0, 0, 0, {}, true, 0, 42, false, 0},
        Case{"Connected",
             1,
             0,
             0,
             {"[INFO ]SOCK connect worked fine", stars},
             false,
             0,
             42,
             false,
             0},
        Case{"ConnectedAfterRepeatedRead",
             1,
             EAGAIN,
             0,
             {"[INFO ]SOCK connect worked fine", stars},
             false,
             0,
             11,
             false,
             0},
        Case{"LocalLoop", 2, 0, 0, {}, true, 1, 42, false, 2},
        Case{"Failed",
             3,
             111,
             0,
             {"[ERROR]bad handshake on socks server", stars},
             true,
             0,
             42,
             true,
             3},
        Case{"FailedAndCloseFails",
             3,
             111,
             EBADF,
             {"[ERROR]bad handshake on socks server", stars,
              "[ERROR]error closing socks socket : 9 ????? : unknown code"},
             false,
             0,
             42,
             true,
             -1},
        Case{"Refused",
             4,
             113,
             0,
             {"[ERROR]socks server can not connect to target", stars},
             false,
             0,
             111,
             true,
             -1},
        Case{"RefusedAndCloseFails",
             4,
             113,
             ENOTSOCK,
             {"[ERROR]socks server can not connect to target", stars,
              "[ERROR]error closing socks socket : 88 WSAENOTSOCK : Socket operation on nonsocket"},
             false,
             0,
             111,
             true,
             -1},
        Case{
            "Unknown",
            5,
            0,
            0,
            {"[ERROR]unknown socks connect return code !!! 5", "[ERROR]trying classic connect...."},
            true,
            0,
            42,
            false,
            5},
        Case{"UnknownNegative",
             -2,
             0,
             0,
             {"[ERROR]unknown socks connect return code !!! -2",
              "[ERROR]trying classic connect...."},
             true,
             0,
             42,
             false,
             -2}),
    [](const auto& given) { return given.param.name; });

}  // namespace
