#include <sys/socket.h>
#include <sys/uio.h>

#include <functional>

#include "HookTest.h"
#include "socks/Socks.h"
#include "support/SleepingThread.h"

namespace {

using veltra::testing::SleepingThread;

struct DataCall {
    const char* name;
    std::function<ssize_t(int fd)> make;
};

std::ostream& operator<<(std::ostream& stream, const DataCall& call) {
    return stream << call.name;
}

// A data call on a socket whose connect another thread reroutes.
class DataCalls : public HookTest, public testing::WithParamInterface<DataCall> {
protected:
    DataCalls() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        EXPECT_EQ(::send(ends[1], "x", 1, 0), 1);
        socksModeActive.store(1);
        std::snprintf(number, sizeof(number), "%x", static_cast<unsigned>(ends[0]));
        createSocketInfo(ends[0], AF_INET, SOCK_STREAM, 0, 6);
        (void)takeTrace();
    }
    ~DataCalls() override {
        socksModeActive.store(0);
        for (const int end : ends)
            ::close(end);
    }

    std::string line(const std::string& begin, const std::string& end = "") const {
        return begin + number + end;
    }

    int ends[2] = {-1, -1};

private:
    char number[9] = "";
};

TEST_P(DataCalls, WaitUntilTheExchangeIsOver) {
    SOCKETINFO* const record = getSocketInfo(ends[0]);
    lock_connection(record, 7);
    (void)takeTrace();
    ssize_t result = -2;
    {
        const SleepingThread thread([&] { result = GetParam().make(ends[0]); });
        EXPECT_TRUE(thread.isInside());
        EXPECT_EQ(takeTrace(), Lines{line("[INFO ][1]** socket locked (waiting) : ", " **")});
        unlock_connection(record, 7);
    }
    EXPECT_EQ(result, 1);
    Lines trace = takeTrace();
    ASSERT_GE(trace.size(), 3U);
    trace.resize(3);
    EXPECT_EQ(trace, (Lines{line("[INFO ][7]** unlocking socket : ", " **"),
                            line("[INFO ][1]** socket unlocked : ", " **"),
                            line(std::string("[CALL ][1]") + GetParam().name + " \tsocket : ")}));
}

// Terminated, because traces show what is sent as a text.
char byte[2] = "y";
iovec area = {byte, 1};

msghdr message() {
    msghdr header{};
    header.msg_iov = &area;
    header.msg_iovlen = 1;
    return header;
}

const DataCall dataCalls[] = {
    {"send", [](int fd) -> ssize_t { return Mysend(fd, byte, 1, 0); }},
    {"write", [](int fd) -> ssize_t { return Mywrite(fd, byte, 1); }},
    {"sendmsg",
     [](int fd) -> ssize_t {
         const msghdr header = message();
         return Mysendmsg(fd, &header, 0);
     }},
    {"sendto", [](int fd) -> ssize_t { return Mysendto(fd, byte, 1, 0, nullptr, 0); }},
    {"recv", [](int fd) -> ssize_t { return Myrecv(fd, byte, 1, 0); }},
    {"read", [](int fd) -> ssize_t { return Myread(fd, byte, 1); }},
    {"recvmsg",
     [](int fd) -> ssize_t {
         msghdr header = message();
         return Myrecvmsg(fd, &header, 0);
     }},
    {"recvfrom", [](int fd) -> ssize_t { return Myrecvfrom(fd, byte, 1, 0, nullptr, nullptr); }},
};

INSTANTIATE_TEST_SUITE_P(Every, DataCalls, testing::ValuesIn(dataCalls),
                         [](const auto& call) { return call.param.name; });

}  // namespace
