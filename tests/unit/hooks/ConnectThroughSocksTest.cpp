#include <sys/socket.h>

#include <cerrno>

#include "HookTest.h"
#include "socks/Socks.h"
#include "support/SocksServer.h"

namespace {

using veltra::testing::bytes;
using veltra::testing::ReplacedCall;
using veltra::testing::socksAcceptance;
using veltra::testing::socksIpv4Request;
using veltra::testing::SocksServer;

const std::string routedReply = bytes(5, 0, 0, 1, 192, 0, 2, 9, 0x1F, 0x90);

// Every second call finds nothing to read yet.
bool isAgain = false;

ssize_t repeatedRecv(int fd, void* buffer, std::size_t length, int) {
    isAgain = !isAgain;
    if (!isAgain) return ::recv(fd, buffer, length, MSG_WAITALL);
    errno = EAGAIN;
    return -1;
}

int unclosable = -1;

int failingClose(int fd) {
    if (fd != unclosable) return ::close(fd);
    errno = EIO;
    return -1;
}

class ConnectThroughSocks : public HookTest {
protected:
    ConnectThroughSocks() {
        socksModeActive.store(1);
        createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, IPPROTO_TCP);
    }
    ~ConnectThroughSocks() override {
        socksModeActive.store(0);
        serverIPV4 = {};
        ::close(fd);
    }

    // A connect to 10.1.2.3, port 80; errno is 77 before.
    int connectThrough(const SocksServer& server) const {
        serverIPV4.sin_family = AF_INET;
        serverIPV4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        serverIPV4.sin_port = htons(server.port());
        sockaddr_in destination{};
        destination.sin_family = AF_INET;
        destination.sin_addr.s_addr = htonl(0x0A010203);
        destination.sin_port = htons(80);
        errno = 77;
        return Myconnect(fd, reinterpret_cast<const sockaddr*>(&destination), sizeof(destination));
    }

    // What the recorded connect says of its outcome.
    std::string recordedError() {
        for (const std::string& message : takeMessages()) {
            const std::size_t port = message.find(R"( port_I4="50")");
            if (port != std::string::npos) return message.substr(port + 13);
        }
        return "";
    }

    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
};

TEST_F(ConnectThroughSocks, LeavesTheCodeOfAReadThatHadToBeRepeated) {
    const ReplacedCall<recv_function> recvCall(recv_ptr, &repeatedRecv);
    const SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
    EXPECT_EQ(connectThrough(server), 0);
    EXPECT_EQ(errno, 11);
    EXPECT_EQ(recordedError(), "/>");
}

TEST_F(ConnectThroughSocks, LeavesNoCodeOtherwise) {
    const SocksServer server({socksAcceptance, {socksIpv4Request, routedReply}});
    EXPECT_EQ(connectThrough(server), 0);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(recordedError(), "/>");
}

TEST_F(ConnectThroughSocks, IsRefusedAlsoWhereTheSocketCannotBeClosed) {
    unclosable = fd;
    const ReplacedCall<close_function> closeCall(close_ptr, &failingClose);
    const SocksServer server({socksAcceptance, {socksIpv4Request, bytes(5, 3)}});
    EXPECT_EQ(connectThrough(server), -1);
    EXPECT_EQ(errno, 111);
    EXPECT_EQ(recordedError(), R"( error_I4="65"/>)");
}

}  // namespace
