#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "base/SignalBlock.h"
#include "support/SignalSets.h"

namespace {

using testing::ElementsAre;
using veltra::testing::block;
using veltra::testing::blockedSignals;
using veltra::testing::CountedSignal;
using veltra::testing::pendingSignals;

// A file that this process may make two bytes long.
class FileSizeSignal : public testing::Test {
protected:
    void SetUp() override {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small = {2, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    void TearDown() override {
        setrlimit(RLIMIT_FSIZE, &before);
        close(file);
    }
    void writeBeyond() {
        errno = 0;
        EXPECT_EQ(SignalBlock::write(file, "abc", 3), 2);
        EXPECT_EQ(errno, 0);
        EXPECT_EQ(SignalBlock::write(file, "c", 1), -1);
        EXPECT_EQ(errno, EFBIG);
    }

    rlimit before{};
    int file = memfd_create("file", MFD_CLOEXEC);
    CountedSignal sigxfsz{SIGXFSZ};
};

TEST_F(FileSizeSignal, IsNotRaised) {
    const auto blocked = blockedSignals();
    writeBeyond();
    EXPECT_EQ(sigxfsz.times(), 0);
    EXPECT_EQ(blockedSignals(), blocked);
    EXPECT_THAT(pendingSignals(), ElementsAre());
}

TEST_F(FileSizeSignal, DoesNotBecomePendingWhileBlocked) {
    block({SIGXFSZ});
    writeBeyond();
    EXPECT_THAT(pendingSignals(), ElementsAre());
    sigxfsz.restoreMask();
    EXPECT_EQ(sigxfsz.times(), 0);
}

TEST_F(FileSizeSignal, PendingForTheThreadStaysPending) {
    block({SIGXFSZ});
    raise(SIGXFSZ);
    writeBeyond();
    EXPECT_THAT(pendingSignals(), ElementsAre(SIGXFSZ));
    EXPECT_EQ(sigxfsz.times(), 0);
    sigxfsz.restoreMask();
    EXPECT_EQ(sigxfsz.times(), 1);
}

TEST_F(FileSizeSignal, PendingForTheProcessStaysPending) {
    block({SIGXFSZ});
    kill(getpid(), SIGXFSZ);
    writeBeyond();
    EXPECT_THAT(pendingSignals(), ElementsAre(SIGXFSZ));
    sigxfsz.restoreMask();
    EXPECT_EQ(sigxfsz.times(), 1);
}

}  // namespace
