#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <tuple>
#include <type_traits>

#include "LookUpLine.h"
#include "base/realFunctions.h"
#include "base/utils.h"
#include "support/TraceLog.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::TraceLog;

// Stands in for a real function of this type: keeps what it is given, answers what it is told.
template <typename Result, typename... Parameters>
struct StandIn {
    static inline std::tuple<Parameters...> given;
    static inline Result answer;

    static Result call(Parameters... arguments) {
        given = std::make_tuple(arguments...);
        return answer;
    }
};

// A value that no call here would give by itself.
template <typename Result>
Result unlikelyAnswer() {
    if constexpr (std::is_pointer_v<Result>) {
        static std::remove_pointer_t<Result> object;
        return &object;
    } else {
        return static_cast<Result>(0x5a5b5c5d);
    }
}

// The wrapper gives its arguments to the function, and its result back, without a look-up.
template <typename Result, typename... Parameters>
void expectPassesThrough(std::atomic<Result (*)(Parameters...)>& pointer,
                         Result (*wrapper)(Parameters...),
                         std::type_identity_t<Parameters>... arguments) {
    using Function = StandIn<Result, Parameters...>;
    TraceLog log;
    Function::given = {};
    Function::answer = unlikelyAnswer<Result>();
    pointer.store(&Function::call);
    EXPECT_EQ(wrapper(arguments...), unlikelyAnswer<Result>());
    EXPECT_EQ(Function::given, std::make_tuple(arguments...));
    EXPECT_EQ(pointer.load(), &Function::call) << "once set, it stays";
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

// The wrapper looks the function up once, with a trace, and gives what that function gives.
template <typename Result, typename... Parameters>
void expectResolvesLate(std::atomic<Result (*)(Parameters...)>& pointer,
                        Result (*wrapper)(Parameters...), const char* name,
                        std::type_identity_t<Parameters>... arguments) {
    void* const real = dlsym(RTLD_NEXT, name);
    ASSERT_NE(real, nullptr);
    const Result expected = reinterpret_cast<Result (*)(Parameters...)>(real)(arguments...);
    TraceLog log;
    pointer.store(nullptr);
    EXPECT_EQ(wrapper(arguments...), expected);
    EXPECT_EQ(reinterpret_cast<void*>(pointer.load()), real);
    EXPECT_THAT(log.takeLines(), ElementsAre(lookUpLine(name, real)));
    EXPECT_EQ(wrapper(arguments...), expected);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

template <typename Result, typename... Parameters, typename... Arguments>
void expectWraps(const char* name, std::atomic<Result (*)(Parameters...)>& pointer,
                 Result (*wrapper)(Parameters...), Arguments... arguments) {
    SCOPED_TRACE(name);
    expectPassesThrough(pointer, wrapper, arguments...);
    expectResolvesLate(pointer, wrapper, name, arguments...);
}

// Arguments that the real functions refuse without touching anything.
constexpr int noDescriptor = -1;
sockaddr_storage someAddress;
socklen_t someLength = sizeof(someAddress);
char someBytes[16];
msghdr someMessage;

sockaddr* address() {
    return reinterpret_cast<sockaddr*>(&someAddress);
}

TEST(RealFunctions, WrappersOfSocketCalls) {
    expectWraps("socket", socket_ptr, &True_socket, 7777, 8, 9);
    expectWraps("bind", bind_ptr, &True_bind, noDescriptor, address(), 16U);
    expectWraps("listen", listen_ptr, &True_listen, noDescriptor, 5);
    expectWraps("accept", accept_ptr, &True_accept, noDescriptor, address(), &someLength);
    expectWraps("connect", connect_ptr, &True_connect, noDescriptor, address(), 16U);
    expectWraps("close", close_ptr, &True_close, noDescriptor);
}

TEST(RealFunctions, WrappersOfDataCalls) {
    expectWraps("read", read_ptr, &True_read, noDescriptor, someBytes, 11UL);
    expectWraps("write", write_ptr, &True_write, noDescriptor, someBytes, 12UL);
    expectWraps("send", send_ptr, &True_send, noDescriptor, someBytes, 13UL, 0x4000);
    expectWraps("recv", recv_ptr, &True_recv, noDescriptor, someBytes, 14UL, 0x40);
    expectWraps("sendto", sendto_ptr, &True_sendto, noDescriptor, someBytes, 15UL, 0x4000,
                address(), 16U);
    expectWraps("recvfrom", recvfrom_ptr, &True_recvfrom, noDescriptor, someBytes, 10UL, 0x40,
                address(), &someLength);
    expectWraps("sendmsg", sendmsg_ptr, &True_sendmsg, noDescriptor, &someMessage, 0x4000);
    expectWraps("recvmsg", recvmsg_ptr, &True_recvmsg, noDescriptor, &someMessage, 0x40);
}

TEST(RealFunctions, WrappersOfQueries) {
    fd_set sets[3];
    std::memset(sets, 0, sizeof(sets));
    timeval timeout = {};
    expectWraps("select", select_ptr, &True_select, 0, &sets[0], &sets[1], &sets[2], &timeout);
    expectWraps("getsockopt", getsockopt_ptr, &True_getsockopt, noDescriptor, 1, 3, someBytes,
                &someLength);
    expectWraps("getsockname", getsockname_ptr, &True_getsockname, noDescriptor, address(),
                &someLength);
    expectWraps("getpeername", getpeername_ptr, &True_getpeername, noDescriptor, address(),
                &someLength);
}

TEST(RealFunctions, WrappersOfTheNameService) {
    addrinfo hints = {};
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    expectWraps("getaddrinfo", getaddrinfo_ptr, &True_getaddrinfo, "no number", "80", &hints,
                &found);
    expectWraps("gethostbyname", gethostbyname_ptr, &True_gethostbyname, "127.0.0.1");
    char name[256] = {};
    expectWraps("gethostname", gethostname_ptr, &True_gethostname, name, sizeof(name));
    expectWraps("getservbyname", getservbyname_ptr, &True_getservbyname, "no service", "tcp");
    expectWraps("getservbyport", getservbyport_ptr, &True_getservbyport, 1, "no protocol");
}

TEST(RealFunctions, WrappersOfConversions) {
    expectWraps("htonl", htonl_ptr, &True_htonl, 0x01020304U);
    expectWraps("htons", htons_ptr, &True_htons, std::uint16_t{0x0102});
    expectWraps("ntohs", ntohs_ptr, &True_ntohs, std::uint16_t{0x0304});
    expectWraps("inet_addr", inet_addr_ptr, &True_inet_addr, "1.2.3.4");
    expectWraps("inet_pton", inet_pton_ptr, &True_inet_pton, AF_INET, "1.2.3.4", someBytes);
}

in_addr_t givenAddress = 0;
char answeredText[] = "answer";

char* standInForInetNtoa(in_addr value) {
    givenAddress = value.s_addr;
    return answeredText;
}

TEST(RealFunctions, WrapperOfAnAddressToText) {
    TraceLog log;
    in_addr value = {};
    value.s_addr = 0x04030201;
    inet_ntoa_ptr.store(&standInForInetNtoa);
    EXPECT_EQ(True_inet_ntoa(value), answeredText);
    EXPECT_EQ(givenAddress, 0x04030201U);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    inet_ntoa_ptr.store(nullptr);
    EXPECT_STREQ(True_inet_ntoa(value), "1.2.3.4");
    EXPECT_THAT(log.takeLines(),
                ElementsAre(lookUpLine("inet_ntoa", dlsym(RTLD_NEXT, "inet_ntoa"))));
}

template <typename Result, typename... Parameters>
void expectInitResolves(const char* name, std::atomic<Result (*)(Parameters...)>& pointer,
                        void (*init)()) {
    SCOPED_TRACE(name);
    TraceLog log;
    pointer.store(nullptr);
    init();
    EXPECT_NE(pointer.load(), nullptr);
    EXPECT_EQ(reinterpret_cast<void*>(pointer.load()), dlsym(RTLD_NEXT, name));
    pointer.store(&StandIn<Result, Parameters...>::call);
    init();
    EXPECT_EQ(pointer.load(), (&StandIn<Result, Parameters...>::call)) << "once set, it stays";
    EXPECT_THAT(log.takeLines(), IsEmpty());
    pointer.store(nullptr);
}

TEST(RealFunctions, InitResolvesWithoutATrace) {
    expectInitResolves("socket", socket_ptr, &Initsocket);
    expectInitResolves("bind", bind_ptr, &Initbind);
    expectInitResolves("listen", listen_ptr, &Initlisten);
    expectInitResolves("accept", accept_ptr, &Initaccept);
    expectInitResolves("close", close_ptr, &Initclose);
    expectInitResolves("connect", connect_ptr, &Initconnect);
    expectInitResolves("read", read_ptr, &Initread);
    expectInitResolves("write", write_ptr, &Initwrite);
    expectInitResolves("send", send_ptr, &Initsend);
    expectInitResolves("recv", recv_ptr, &Initrecv);
    expectInitResolves("sendmsg", sendmsg_ptr, &Initsendmsg);
    expectInitResolves("recvmsg", recvmsg_ptr, &Initrecvmsg);
    expectInitResolves("sendto", sendto_ptr, &Initsendto);
    expectInitResolves("recvfrom", recvfrom_ptr, &Initrecvfrom);
    expectInitResolves("getaddrinfo", getaddrinfo_ptr, &Initgetaddrinfo);
    expectInitResolves("select", select_ptr, &Initselect);
    expectInitResolves("pselect", pselect_ptr, &Initpselect);
    expectInitResolves("setsockopt", setsockopt_ptr, &Initsetsockopt);
    expectInitResolves("getsockopt", getsockopt_ptr, &Initgetsockopt);
    expectInitResolves("getsockname", getsockname_ptr, &Initgetsockname);
    expectInitResolves("getpeername", getpeername_ptr, &Initgetpeername);
}

TEST(ErrorCode, IsTheThreadsOwn) {
    errno = 17;
    EXPECT_EQ(WSAGetLastError(), 17);
    EXPECT_EQ(errno, 17);
    WSASetLastError(104);
    EXPECT_EQ(errno, 104);
    EXPECT_EQ(WSAGetLastError(), 104);
    WSASetLastError(0);
    EXPECT_EQ(errno, 0);
}

TEST(ErrorCode, IsNotReachedThroughTheWrappersBeforeStartUp) {
    TraceLog log;
    WSAGetLastError_ptr.store(nullptr);
    WSASetLastError_ptr.store(nullptr);
    errno = 17;
    const int answer = True_WSAGetLastError();
    EXPECT_EQ(answer, 0);
    errno = 17;
    True_WSASetLastError(99);
    EXPECT_NE(errno, 99);
    EXPECT_EQ(WSAGetLastError_ptr.load(), nullptr);
    EXPECT_EQ(WSASetLastError_ptr.load(), nullptr);
    EXPECT_EQ(True_WSAGetLastError(), 0);
    EXPECT_THAT(log.takeLines(), ElementsAre("[INFO ]Get_addr(WSAGetLastError)=> 00000000",
                                             "[INFO ]Get_addr(WSASetLastError)=> 00000000",
                                             "[INFO ]Get_addr(WSAGetLastError)=> 00000000"));
}

TEST(ErrorCode, IsReachedThroughTheWrappersAfterStartUp) {
    TraceLog log;
    WSAGetLastError_ptr.store(&WSAGetLastError);
    WSASetLastError_ptr.store(&WSASetLastError);
    errno = 17;
    EXPECT_EQ(True_WSAGetLastError(), 17);
    True_WSASetLastError(104);
    EXPECT_EQ(errno, 104);
    EXPECT_EQ(True_WSAGetLastError(), 104);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    WSAGetLastError_ptr.store(nullptr);
    WSASetLastError_ptr.store(nullptr);
}

}  // namespace
