#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "base/SignalBlock.h"
#include "support/KeptSignal.h"

namespace {

using veltra::testing::CountedSignal;
using veltra::testing::expectKeptPending;
using veltra::testing::expectNotLeftPending;
using veltra::testing::expectNotRaised;
using veltra::testing::sendToProcess;
using veltra::testing::sendToThread;

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
    expectNotRaised(sigxfsz, [this] { writeBeyond(); });
}

TEST_F(FileSizeSignal, DoesNotBecomePendingWhileBlocked) {
    expectNotLeftPending(sigxfsz, [this] { writeBeyond(); });
}

TEST_F(FileSizeSignal, PendingForTheThreadStaysPending) {
    expectKeptPending(sigxfsz, &sendToThread, [this] { writeBeyond(); });
}

TEST_F(FileSizeSignal, PendingForTheProcessStaysPending) {
    expectKeptPending(sigxfsz, &sendToProcess, [this] { writeBeyond(); });
}

}  // namespace
