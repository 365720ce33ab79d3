#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include "SocksRequestTest.h"

// The linker puts this in front of the handshake.
extern "C" int __real__Z14socksHandShakeiRii(int fd, int& socksError, int family);

namespace {

using testing::IsEmpty;
using veltra::testing::socksAcceptance;
using veltra::testing::socksIpv4Request;
using veltra::testing::SocksServer;

// Takes the place of the handshake while it is set.
std::function<int(int& socksError)> scriptedHandShake;

// What follows a handshake that ends as no real one does.
class AfterHandShake : public SocksRequest {
protected:
    AfterHandShake() { open(AF_INET); }
    ~AfterHandShake() override { scriptedHandShake = nullptr; }
};

TEST_F(AfterHandShake, ThatFindsSocksModeOffNothingIsDone) {
    scriptedHandShake = [](int&) {
        errno = 88;
        return 0;
    };
    EXPECT_EQ(connectTo10_1_2_3(), 0);
    EXPECT_EQ(socksError, 55);
    EXPECT_EQ(error, 88);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(AfterHandShake, WithAnUnknownResultItIsAFailure) {
    for (const int result : {2, 4, 5, -2, 4711}) {
        scriptedHandShake = [result](int& exchangeError) {
            exchangeError = 66;
            return result;
        };
        EXPECT_EQ(connectTo10_1_2_3(), 3);
        EXPECT_EQ(socksError, 66);
        EXPECT_EQ(error, 111);
        EXPECT_EQ(log.takeLines(), Lines{"[ERROR]Socks connect failed (wrong return code : " +
                                         std::to_string(result) + ")"});
    }
}

// Another thread changes the destination during the handshake.
TEST_F(AfterHandShake, WithAnotherFamilyThereIsNoRequest) {
    sockaddr_storage destination{};
    destination.ss_family = AF_INET6;
    scriptedHandShake = [&](int&) {
        destination.ss_family = AF_UNIX;
        return 1;
    };
    errno = 77;
    EXPECT_EQ(
        SocksConnect(record(), reinterpret_cast<const sockaddr*>(&destination), 28, socksError), 3);
    EXPECT_EQ(errno, 111);
    EXPECT_EQ(socksError, 97);
    EXPECT_EQ(storedDestination(), "");
    EXPECT_EQ(log.takeLines(),
              (Lines{"[INFO ]****************************", "[INFO ]** starting socks request **",
                     "[INFO ]****************************", "[ERROR]unsupported way of connect"}));
}

// On a full disk, the trace that fills the log file's buffer leaves an error code of its own. It is
// another one each time.
TEST_F(SocksRequest, TracesThatCannotBeWrittenDoNotChangeTheCodeThatIsLeft) {
    constexpr std::size_t logBuffer = 4096;
    constexpr std::size_t wholeTrace = 2500;
    constexpr std::size_t shortestLine = 20;
    set_file_display("/dev/full", "/dev");
    script.againBeforeEach = 1;
    for (std::size_t room = shortestLine; room < wholeTrace; room += shortestLine) {
        SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
        useServer(AF_INET, server.port());
        open(AF_INET);
        x_disp(TRACE_GENER, "%s", std::string(logBuffer - room, '.').c_str());
        EXPECT_EQ(connectTo10_1_2_3(), 1);
        EXPECT_EQ(error, 11) << room;
    }
}

}  // namespace

extern "C" int __wrap__Z14socksHandShakeiRii(int fd, int& socksError, int family) {
    if (scriptedHandShake) return scriptedHandShake(socksError);
    return __real__Z14socksHandShakeiRii(fd, socksError, family);
}
