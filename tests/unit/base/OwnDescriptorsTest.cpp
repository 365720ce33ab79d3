#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "base/ownDescriptors.h"

namespace {

// Memory files, each with an identity of its own.
int newFile() {
    return memfd_create("file", 0);
}

class OwnDescriptors : public testing::Test {
protected:
    OwnDescriptors() : fd_(newFile()) { rememberOwnDescriptor(fd_, fileIdentity(fd_)); }
    ~OwnDescriptors() override {
        forgetOwnDescriptor(fd_);
        close(fd_);
    }

    void putAnotherFileInPlace() const {
        const int another = newFile();
        dup2(another, fd_);
        close(another);
    }

    int fd_;
};

TEST_F(OwnDescriptors, AreOursUntilForgotten) {
    errno = 77;
    EXPECT_TRUE(isOwnDescriptor(fd_));
    EXPECT_FALSE(isOwnDescriptor(fd_ + 1));
    EXPECT_FALSE(isOwnDescriptor(-1));
    EXPECT_FALSE(isOwnDescriptor(-2));
    forgetOwnDescriptor(fd_);
    EXPECT_FALSE(isOwnDescriptor(fd_));
    EXPECT_EQ(errno, 77);
}

TEST_F(OwnDescriptors, AreNotOursOnceTheNumberMeansAnotherFile) {
    putAnotherFileInPlace();
    EXPECT_FALSE(isOwnDescriptor(fd_));
}

// One that the application closed unseen is still remembered for its first file.
TEST_F(OwnDescriptors, AreOursAgainUnderANumberThatWasOursBefore) {
    putAnotherFileInPlace();
    rememberOwnDescriptor(fd_, fileIdentity(fd_));
    EXPECT_TRUE(isOwnDescriptor(fd_));
    forgetOwnDescriptor(fd_);
    forgetOwnDescriptor(fd_);
    EXPECT_FALSE(isOwnDescriptor(fd_));
}

TEST_F(OwnDescriptors, AreNoMoreThanWeHaveRoomFor) {
    const FileIdentity identity = fileIdentity(fd_);
    for (int i = 0; i < 100; ++i)
        rememberOwnDescriptor(fd_, identity);
    EXPECT_TRUE(isOwnDescriptor(fd_));
    for (int i = 0; i < 100; ++i)
        forgetOwnDescriptor(fd_);
    EXPECT_FALSE(isOwnDescriptor(fd_));
}

TEST(DescriptorsAside, AreClosedOnExecAndKeepTheirFile) {
    const int created = newFile();
    const FileIdentity identity = fileIdentity(created);
    errno = 77;
    const int fd = moveDescriptorAside(created);
    EXPECT_EQ(errno, 77);
    EXPECT_GE(fd, 16);
    EXPECT_EQ(fileIdentity(fd), identity);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fileIdentity(created), FileIdentity{});
    close(fd);
    EXPECT_EQ(moveDescriptorAside(-1), -1);
}

TEST(DescriptorsAside, FollowALoweredLimit) {
    const int first = moveDescriptorAside(newFile());
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    errno = 77;
    const int second = moveDescriptorAside(newFile());
    EXPECT_EQ(errno, 77);
    EXPECT_GE(first, 100);
    EXPECT_EQ(second, 100 - 16);
    EXPECT_EQ(fcntl(second, F_GETFD), FD_CLOEXEC);
    close(first);
    close(second);
}

TEST(FileIdentities, TellFilesApartAndKeepTheErrorCode) {
    const int one = newFile();
    const int other = newFile();
    const int same = dup(one);
    errno = 77;
    EXPECT_EQ(fileIdentity(one), fileIdentity(same));
    EXPECT_FALSE(fileIdentity(one) == fileIdentity(other));
    EXPECT_EQ(fileIdentity(-1), FileIdentity{});
    EXPECT_EQ(errno, 77);
    close(one);
    close(other);
    close(same);
}

}  // namespace
