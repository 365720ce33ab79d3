#include <dlfcn.h>
#include <gtest/gtest.h>
#include <time.h>

#include <cerrno>

#include "core/RecorderCore.h"

namespace veltra::testing {

namespace {

long long systemTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

class RecorderCore : public ::testing::Test {
protected:
    RecorderCore() : library_(::dlopen(VELTRA_CORE_LIBRARY, RTLD_NOW)) {}
    ~RecorderCore() override {
        if (library_ != nullptr) ::dlclose(library_);
    }

    void SetUp() override {
        ASSERT_NE(library_, nullptr) << ::dlerror();
        currentTime_ = reinterpret_cast<decltype(&currentTime)>(::dlsym(library_, "currentTime"));
        ASSERT_NE(currentTime_, nullptr);
    }

    void* library_;
    decltype(&currentTime) currentTime_ = nullptr;
};

TEST_F(RecorderCore, TellsTheSystemsTimeInNanoseconds) {
    const long long before = systemTime();
    const long long time = currentTime_();
    const long long after = systemTime();
    EXPECT_LE(before, time);
    EXPECT_LE(time, after);
}

TEST_F(RecorderCore, LeavesTheErrorCodeAlone) {
    errno = ENOTSOCK;
    currentTime_();
    EXPECT_EQ(errno, ENOTSOCK);
}

}  // namespace

}  // namespace veltra::testing
