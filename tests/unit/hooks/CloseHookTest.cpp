#include <cerrno>

#include "HookTest.h"
#include "base/ownDescriptors.h"

namespace {

// One of the agent's own descriptors under a number at which the application's socket was recorded
// before the application closed that unseen.
class CloseOfTheAgentsOwn : public HookTest {
protected:
    CloseOfTheAgentsOwn() : fd_(dup(STDERR_FILENO)) {
        rememberOwnDescriptor(fd_, fileIdentity(fd_));
    }
    ~CloseOfTheAgentsOwn() override {
        forgetOwnDescriptor(fd_);
        close(fd_);
    }

    void expectRefused() const {
        errno = 77;
        EXPECT_EQ(Myclose(fd_), -1);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(fileIdentity(fd_), fileIdentity(STDERR_FILENO));
    }

    int fd_;
};

TEST_F(CloseOfTheAgentsOwn, IsRefused) {
    expectRefused();
    EXPECT_EQ(takeTrace(), Lines{});
}

TEST_F(CloseOfTheAgentsOwn, IsRefusedUnderTheNumberOfASocketToo) {
    registerNewSocket(fd_, AF_INET, SOCK_STREAM, 0, IPPROTO_TCP);
    expectRefused();
    EXPECT_NE(getSocketInfo(fd_), nullptr);
}

}  // namespace
