#include "support/FreshProcess.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace veltra::testing {

namespace {

// Nothing may unwind out of the child: it would go on with the parent's tests.
[[noreturn]] void runAndExit(const std::function<void()>& body) noexcept {
    body();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace

void inFreshProcess(const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) runAndExit(body);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the assertions that failed are printed above";
}

void asOrdinaryUser(const std::function<void()>& body) {
    inFreshProcess([&body] {
        constexpr id_t nobody = 65534;
        if (geteuid() == 0) {
            ASSERT_EQ(setgroups(0, nullptr), 0);
            ASSERT_EQ(setgid(nobody), 0);
            ASSERT_EQ(setuid(nobody), 0);
        }
        body();
    });
}

}  // namespace veltra::testing
