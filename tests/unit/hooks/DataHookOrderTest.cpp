#include <cerrno>

#include "HookTest.h"
#include "socks/Socks.h"

namespace {

constexpr int fd = 31;

struct DataCall {
    const char* name;
    ssize_t (*call)();
};

char byte = 0;
iovec buffer = {&byte, 1};
msghdr header = {nullptr, 0, &buffer, 1, nullptr, 0, 0};

const DataCall dataCalls[] = {
    {"send", [] { return Mysend(fd, &byte, 1, 0); }},
    {"write", [] { return Mywrite(fd, &byte, 1); }},
    {"sendmsg", [] { return Mysendmsg(fd, &header, 0); }},
    {"sendto", [] { return Mysendto(fd, &byte, 1, 0, nullptr, 0); }},
    {"recv", [] { return Myrecv(fd, &byte, 1, 0); }},
    {"read", [] { return Myread(fd, &byte, 1); }},
    {"recvmsg", [] { return Myrecvmsg(fd, &header, 0); }},
    {"recvfrom", [] { return Myrecvfrom(fd, &byte, 1, 0, nullptr, nullptr); }},
};

class DataHook : public HookTest, public testing::WithParamInterface<DataCall> {
protected:
    DataHook() { record_ = createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6); }
    ~DataHook() override { socksModeActive = 0; }

    SOCKETINFO* record_;
};

// Marked as being connected, but the lock is free: the wait is over at once.
TEST_P(DataHook, WaitsForTheConnectionBeforeItsFirstTrace) {
    socksModeActive = 1;
    ASSERT_NE(createMemoLockedSocket(record_), nullptr);
    errno = 77;
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(errno, EBADF);
    const Lines trace = takeTrace();
    ASSERT_GE(trace.size(), 3U);
    EXPECT_EQ(trace[0], "[INFO ][1]** socket locked (waiting) : 1f **");
    EXPECT_EQ(trace[1], "[INFO ][1]** socket unlocked : 1f **");
    EXPECT_EQ(trace[2], "[CALL ][1]" + std::string(GetParam().name) + " \tsocket : 1f");
}

TEST_P(DataHook, DoesNotWaitOutsideOfSocksMode) {
    socksModeActive = 1;
    ASSERT_NE(createMemoLockedSocket(record_), nullptr);
    socksModeActive = 0;
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_EQ(takeTrace()[0], "[CALL ][1]" + std::string(GetParam().name) + " \tsocket : 1f");
}

INSTANTIATE_TEST_SUITE_P(Calls, DataHook, testing::ValuesIn(dataCalls),
                         [](const auto& given) { return given.param.name; });

}  // namespace
