#include <gtest/gtest.h>

#include <cerrno>

#include "hooks/HookErrorCode.h"

namespace {

TEST(HookErrorCode, GivesTheRealCallTheApplicationsCode) {
    errno = 77;
    int seen = 0;
    {
        HookErrorCode error;
        errno = 5;
        error.around([&] {
            seen = errno;
            return 0;
        });
        errno = 6;
    }
    EXPECT_EQ(seen, 77);
    EXPECT_EQ(errno, 77);
}

TEST(HookErrorCode, LeavesWhatTheRealCallLeft) {
    errno = 77;
    {
        HookErrorCode error;
        EXPECT_EQ(error.around([] {
            errno = 104;
            return -1;
        }),
                  -1);
        EXPECT_EQ(error.code(), 104);
        errno = 6;
    }
    EXPECT_EQ(errno, 104);
}

TEST(HookErrorCode, LeavesTheCodeThatWasSet) {
    errno = 77;
    {
        HookErrorCode error;
        error.set(111);
        errno = 6;
    }
    EXPECT_EQ(errno, 111);
}

}  // namespace
