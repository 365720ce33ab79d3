#include <cerrno>
#include <cstring>

#include "HookTest.h"

namespace {

using veltra::testing::ReplacedCall;

constexpr int codeBefore = 77;
constexpr int fd = 31;

int answer = 0;
int leftCode = 0;
int calls = 0;
int codeSeen = 0;

// The answer to any call, as the C library would give it.
int answered() {
    ++calls;
    codeSeen = errno;
    errno = leftCode;
    return answer;
}

// The arguments that every scripted function expects to be handed on.
fd_set readable;
fd_set writable;
fd_set exceptional;
timeval wait;
timespec exactWait;
sigset_t mask;
int value;
socklen_t length = 4;
sockaddr_storage area;
auto* const address = reinterpret_cast<sockaddr*>(&area);

int scriptedSelect(int count, fd_set* first, fd_set* second, fd_set* third, timeval* timeout) {
    EXPECT_EQ(count, 5);
    EXPECT_EQ(first, &readable);
    EXPECT_EQ(second, &writable);
    EXPECT_EQ(third, &exceptional);
    EXPECT_EQ(timeout, &wait);
    return answered();
}

int scriptedPselect(int count, fd_set* first, fd_set* second, fd_set* third,
                    const timespec* timeout, const sigset_t* signals) {
    EXPECT_EQ(count, 5);
    EXPECT_EQ(first, &readable);
    EXPECT_EQ(second, &writable);
    EXPECT_EQ(third, &exceptional);
    EXPECT_EQ(timeout, &exactWait);
    EXPECT_EQ(signals, &mask);
    return answered();
}

int scriptedSetsockopt(int socket, int level, int name, const void* option, socklen_t size) {
    EXPECT_EQ(socket, fd);
    EXPECT_EQ(level, SOL_SOCKET);
    EXPECT_EQ(name, SO_REUSEADDR);
    EXPECT_EQ(option, &value);
    EXPECT_EQ(size, 4U);
    return answered();
}

int scriptedGetsockopt(int, int level, int name, void* option, socklen_t* size) {
    EXPECT_EQ(level, SOL_SOCKET);
    EXPECT_EQ(name, SO_ERROR);
    EXPECT_EQ(option, &value);
    EXPECT_EQ(size, &length);
    return answered();
}

int scriptedGetsockname(int, sockaddr* own, socklen_t* size) {
    EXPECT_EQ(own, address);
    EXPECT_EQ(size, &length);
    return answered();
}

sockaddr* expectedPeerArea;
socklen_t* expectedPeerLength;

int scriptedGetpeername(int, sockaddr* peer, socklen_t* size) {
    EXPECT_EQ(peer, expectedPeerArea);
    EXPECT_EQ(size, expectedPeerLength);
    return answered();
}

std::string pointer(const void* shown) {
    char text[30];
    std::snprintf(text, sizeof(text), "%p", shown);
    return text;
}

class PassThroughHook : public HookTest {
protected:
    // Makes the call and checks that result and error code are handed on.
    template <typename Call>
    void call(int result, int code, Call&& hook) {
        answer = result;
        leftCode = code;
        calls = 0;
        errno = codeBefore;
        EXPECT_EQ(hook(), result);
        EXPECT_EQ(errno, code);
        EXPECT_EQ(codeSeen, codeBefore);
        EXPECT_EQ(calls, 1);
    }

    ReplacedCall<select_function> select_{select_ptr, &scriptedSelect};
    ReplacedCall<pselect_function> pselect_{pselect_ptr, &scriptedPselect};
    ReplacedCall<getsockopt_function> getsockopt_{getsockopt_ptr, &scriptedGetsockopt};
    ReplacedCall<getsockname_function> getsockname_{getsockname_ptr, &scriptedGetsockname};
    ReplacedCall<getpeername_function> getpeername_{getpeername_ptr, &scriptedGetpeername};
};

struct Result {
    const char* name;
    int result;
    int code;
    const char* traced;
};

const Result results[] = {
    {"Ready", 2, 11, " (SOCKET ERROR : 11 WSAEWOULDBLOCK : Resource temporarily unavailable):"},
    {"ReadyWithoutCode", 1, 0, " (SOCKET ERROR : 0 ????? : unknown code):"},
    {"Nothing", 0, 11, " (OK): 0"},
    {"Failed", -1, 9, " (SOCKET ERROR : 9 ????? : unknown code):"},
};

class WaitHook : public PassThroughHook, public testing::WithParamInterface<Result> {
protected:
    void expectAnnounced(const std::string& name, const std::string& arguments) {
        const std::string message = notRecordedMessage("2", name);
        EXPECT_EQ(takeTrace(),
                  (Lines{"[CALL ][1]" + name + arguments, "[INFO ]<NOT_RECORDED_HOOK> " + name,
                         "[RET  ][1]" + name + GetParam().traced, dataTrace(2, message)}));
        EXPECT_EQ(takeMessages(), Lines{message});
    }
};

TEST_P(WaitHook, SelectIsTracedAndAnnounced) {
    call(GetParam().result, GetParam().code,
         [] { return Myselect(5, &readable, &writable, &exceptional, &wait); });
    expectAnnounced("select", "(nfds=>5,readfds=>" + pointer(&readable) + ",writefds=>" +
                                  pointer(&writable) + ",exceptfds=>" + pointer(&exceptional) +
                                  ",timeout=>" + pointer(&wait) + ")");
}

TEST_P(WaitHook, PselectIsTracedAndAnnounced) {
    call(GetParam().result, GetParam().code,
         [] { return Mypselect(5, &readable, &writable, &exceptional, &exactWait, &mask); });
    expectAnnounced("pselect", "(nfds=>5,readfds=>" + pointer(&readable) + ",writefds=>" +
                                   pointer(&writable) + ",exceptfds=>" + pointer(&exceptional) +
                                   ",timeout=>" + pointer(&exactWait) + ",sigmask=>" +
                                   pointer(&mask) + ")");
}

INSTANTIATE_TEST_SUITE_P(Results, WaitHook, testing::ValuesIn(results),
                         [](const auto& given) { return given.param.name; });

class OptionHook : public PassThroughHook, public testing::WithParamInterface<Result> {};

TEST_P(OptionHook, SetsockoptIsTracedAndSendsNothing) {
    const ReplacedCall<setsockopt_function> replaced(setsockopt_ptr, &scriptedSetsockopt);
    call(GetParam().result, GetParam().code,
         [] { return Mysetsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &value, 4); });
    EXPECT_EQ(takeTrace(),
              (Lines{"[CALL ][1]setsockopt(__fd=>1f ,__level=>1 ,__optname=>2 ,__optval=>0x" +
                         pointer(&value) + " ,__optlen=>4)",
                     "[INFO ]<NOT_RECORDED_HOOK> setsockopt",
                     "[RET  ][1]setsockopt" + std::string(GetParam().traced)}));
    EXPECT_EQ(takeMessages(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Results, OptionHook, testing::ValuesIn(results),
                         [](const auto& given) { return given.param.name; });

TEST_F(PassThroughHook, ShowsAbsentArgumentsOfSelectAsNil) {
    const ReplacedCall<select_function> replaced(
        select_ptr, [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 0; });
    EXPECT_EQ(Myselect(-1, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(takeTrace()[0],
              "[CALL ][1]select(nfds=>-1,readfds=>(nil),writefds=>(nil),exceptfds=>(nil),"
              "timeout=>(nil))");
}

TEST_F(PassThroughHook, ShowsTheDescriptorOfSetsockoptIn32Bits) {
    EXPECT_EQ(Mysetsockopt(-1, -2, -3, nullptr, 0xFFFFFFFF), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(takeTrace()[0],
              "[CALL ][1]setsockopt(__fd=>ffffffff ,__level=>-2 ,__optname=>-3 ,__optval=>0x(nil) "
              ",__optlen=>-1)");
}

TEST_F(PassThroughHook, ReadsTheClockOnlyForTheAnnouncement) {
    static int reads;
    reads = 0;
    getCurrentTimePtr = [] { return static_cast<long long>(++reads); };
    call(0, 0, [] { return Myselect(5, &readable, &writable, &exceptional, &wait); });
    EXPECT_EQ(reads, 1);
    Mysetsockopt(-1, 0, 0, nullptr, 0);
    EXPECT_EQ(reads, 1);
}

TEST_F(PassThroughHook, ResolvesWhatIsNotResolvedYet) {
    const ReplacedCall<select_function> noSelect(select_ptr, nullptr);
    const ReplacedCall<pselect_function> noPselect(pselect_ptr, nullptr);
    timeval noWait{};
    const timespec noExactWait{};
    EXPECT_EQ(Myselect(0, nullptr, nullptr, nullptr, &noWait), 0);
    EXPECT_EQ(Mypselect(0, nullptr, nullptr, nullptr, &noExactWait, nullptr), 0);
    EXPECT_NE(select_ptr.load(), nullptr);
    EXPECT_NE(pselect_ptr.load(), nullptr);
    // Its resolver leaves no trace.
    EXPECT_EQ(takeTrace().size(), 8U);
}

// --- getsockopt and getsockname: on the socket only

struct Query {
    const char* name;
    int (*call)(int socket);
};

class QueryHook : public PassThroughHook, public testing::WithParamInterface<Query> {
protected:
    std::string traced(const char* label, const std::string& rest) const {
        return label + std::string(GetParam().name) + rest;
    }
};

TEST_P(QueryHook, SucceedsOnAKnownSocket) {
    createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    call(0, 5, [] { return GetParam().call(fd); });
    EXPECT_EQ(takeTrace(), (Lines{traced("[CALL ]", " socket : 1f"), traced("[RET  ]", " OK ")}));
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_P(QueryHook, FailsOnAKnownSocket) {
    createSocketInfo(fd, AF_INET6, SOCK_DGRAM, 0, 17);
    call(-1, ENOTSOCK, [] { return GetParam().call(fd); });
    EXPECT_EQ(takeTrace(),
              (Lines{traced("[CALL ]", " socket : 1f"), traced("[ERROR]", " ERROR ")}));
    call(3, 0, [] { return GetParam().call(fd); });
    EXPECT_EQ(takeTrace(),
              (Lines{traced("[CALL ]", " socket : 1f"), traced("[ERROR]", " ERROR ")}));
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_P(QueryHook, IsSilentOnALocalSocket) {
    createSocketInfo(fd, AF_UNIX, SOCK_STREAM, 0, 0);
    call(0, 5, [] { return GetParam().call(fd); });
    call(-1, ENOTSOCK, [] { return GetParam().call(fd); });
    EXPECT_EQ(takeTrace(), Lines{});
}

TEST_P(QueryHook, IsSilentOnAnUnknownDescriptor) {
    for (const int unknown : {fd, 0, -1}) {
        call(0, 5, [=] { return GetParam().call(unknown); });
        call(-1, EBADF, [=] { return GetParam().call(unknown); });
    }
    EXPECT_EQ(takeTrace(), Lines{});
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_P(QueryHook, DrawsNoNumbers) {
    createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    call(0, 5, [] { return GetParam().call(fd); });
    Mysetsockopt(-1, 0, 0, nullptr, 0);
    EXPECT_EQ(takeTrace()[2],
              "[CALL ][1]setsockopt(__fd=>ffffffff ,__level=>0 ,__optname=>0 ,__optval=>0x(nil) "
              ",__optlen=>0)");
}

INSTANTIATE_TEST_SUITE_P(
    Calls, QueryHook,
    testing::Values(Query{"getsockopt",
                          [](int socket) {
                              return Mygetsockopt(socket, SOL_SOCKET, SO_ERROR, &value, &length);
                          }},
                    Query{"getsockname",
                          [](int socket) { return Mygetsockname(socket, address, &length); }}),
    [](const auto& given) { return given.param.name; });

// --- getpeername

class GetPeerName : public PassThroughHook {
protected:
    void ask(int result, int code, sockaddr* peer, socklen_t* size) {
        expectedPeerArea = peer;
        expectedPeerLength = size;
        call(result, code, [=] { return Mygetpeername(fd, peer, size); });
    }

    const Lines asked{"[CALL ]getpeername socket : 1f", "[RET  ]getpeername"};
};

TEST_F(GetPeerName, IsTracedOnAKnownSocket) {
    createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    ask(0, 5, address, &length);
    EXPECT_EQ(takeTrace(), asked);
    ask(-1, ENOTCONN, address, &length);
    EXPECT_EQ(takeTrace(), asked);
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_F(GetPeerName, IsSilentOnLocalSocketsAndUnknownDescriptors) {
    ask(0, 5, address, &length);
    createSocketInfo(fd, AF_UNIX, SOCK_STREAM, 0, 0);
    ask(-1, ENOTCONN, address, &length);
    EXPECT_EQ(takeTrace(), Lines{});
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_F(GetPeerName, HandsBadPointersToTheRealCall) {
    auto* const wrongLength = reinterpret_cast<socklen_t*>(8);
    createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    ask(-1, EFAULT, nullptr, &length);
    ask(-1, EFAULT, address, nullptr);
    ask(-1, EFAULT, nullptr, nullptr);
    ask(-1, EFAULT, address, wrongLength);
}

TEST_F(GetPeerName, HandsBadPointersOfAReroutedSocketToTheRealCall) {
    SOCKETINFO* const record = createSocketInfo(fd, AF_INET, SOCK_STREAM, 0, 6);
    const sockaddr_in destination{};
    createSockaddrElem(record, reinterpret_cast<const sockaddr*>(&destination), 16);
    socklen_t enough = 16;
    ask(0, 5, nullptr, &enough);
    EXPECT_EQ(takeTrace(), asked);
    ask(-1, EFAULT, address, nullptr);
    ask(-1, EFAULT, nullptr, nullptr);
    ask(-1, EFAULT, address, reinterpret_cast<socklen_t*>(8));
}

}  // namespace
