#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "LookUpLine.h"
#include "base/realFunctions.h"
#include "base/utils.h"
#include "scriptedDlsym.h"
#include "support/FreshProcess.h"
#include "support/TraceLog.h"

// Here no function can be found at all.

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::inFreshProcess;
using veltra::testing::TraceLog;

// The wrapper looks the function up at every call, and gives 0 or null without calling anything.
template <typename Result, typename... Parameters>
void expectGivesNothing(const char* name, std::atomic<Result (*)(Parameters...)>& pointer,
                        Result (*wrapper)(Parameters...)) {
    SCOPED_TRACE(name);
    TraceLog log;
    for (int call = 0; call < 2; ++call) {
        scriptedLookUps.clear();
        if constexpr (std::is_void_v<Result>) {
            wrapper(Parameters{}...);
        } else {
            EXPECT_EQ(wrapper(Parameters{}...), Result{});
        }
        EXPECT_EQ(pointer.load(), nullptr);
        EXPECT_THAT(scriptedLookUps,
                    ElementsAre(LookUp{RTLD_NEXT, name}, LookUp{RTLD_DEFAULT, name}));
        EXPECT_THAT(log.takeLines(), ElementsAre(lookUpLine(name, nullptr)));
    }
}

TEST(MissingFunctions, EveryWrapperGivesNothing) {
    inFreshProcess([] {
        Truedlsym(RTLD_NEXT, "first");
        expectGivesNothing("socket", socket_ptr, &True_socket);
        expectGivesNothing("bind", bind_ptr, &True_bind);
        expectGivesNothing("listen", listen_ptr, &True_listen);
        expectGivesNothing("accept", accept_ptr, &True_accept);
        expectGivesNothing("connect", connect_ptr, &True_connect);
        expectGivesNothing("close", close_ptr, &True_close);
        expectGivesNothing("read", read_ptr, &True_read);
        expectGivesNothing("write", write_ptr, &True_write);
        expectGivesNothing("send", send_ptr, &True_send);
        expectGivesNothing("recv", recv_ptr, &True_recv);
        expectGivesNothing("sendto", sendto_ptr, &True_sendto);
        expectGivesNothing("recvfrom", recvfrom_ptr, &True_recvfrom);
        expectGivesNothing("sendmsg", sendmsg_ptr, &True_sendmsg);
        expectGivesNothing("recvmsg", recvmsg_ptr, &True_recvmsg);
        expectGivesNothing("select", select_ptr, &True_select);
        expectGivesNothing("getsockopt", getsockopt_ptr, &True_getsockopt);
        expectGivesNothing("getsockname", getsockname_ptr, &True_getsockname);
        expectGivesNothing("getpeername", getpeername_ptr, &True_getpeername);
        expectGivesNothing("getaddrinfo", getaddrinfo_ptr, &True_getaddrinfo);
        expectGivesNothing("gethostbyname", gethostbyname_ptr, &True_gethostbyname);
        expectGivesNothing("gethostname", gethostname_ptr, &True_gethostname);
        expectGivesNothing("getservbyname", getservbyname_ptr, &True_getservbyname);
        expectGivesNothing("getservbyport", getservbyport_ptr, &True_getservbyport);
        expectGivesNothing("htonl", htonl_ptr, &True_htonl);
        expectGivesNothing("htons", htons_ptr, &True_htons);
        expectGivesNothing("ntohs", ntohs_ptr, &True_ntohs);
        expectGivesNothing("inet_addr", inet_addr_ptr, &True_inet_addr);
        expectGivesNothing("inet_pton", inet_pton_ptr, &True_inet_pton);
        expectGivesNothing("inet_ntoa", inet_ntoa_ptr, &True_inet_ntoa);
        expectGivesNothing("WSAGetLastError", WSAGetLastError_ptr, &True_WSAGetLastError);
        expectGivesNothing("WSASetLastError", WSASetLastError_ptr, &True_WSASetLastError);
    });
}

TEST(MissingFunctions, InitLooksOnlyBehindTheAgent) {
    inFreshProcess([] {
        TraceLog log;
        Truedlsym(RTLD_NEXT, "first");
        scriptedLookUps.clear();
        Initsocket();
        Initpselect();
        Initsetsockopt();
        EXPECT_THAT(scriptedLookUps,
                    ElementsAre(LookUp{RTLD_NEXT, "socket"}, LookUp{RTLD_NEXT, "pselect"},
                                LookUp{RTLD_NEXT, "setsockopt"}));
        EXPECT_EQ(socket_ptr.load(), nullptr);
        EXPECT_EQ(pselect_ptr.load(), nullptr);
        EXPECT_EQ(setsockopt_ptr.load(), nullptr);
        EXPECT_THAT(log.takeLines(), IsEmpty());
    });
}

}  // namespace
