#include <arpa/inet.h>

#include <cerrno>
#include <string>

#include "AddressList.h"
#include "SocksRequestTest.h"

const std::string routedReply = veltra::testing::bytes(5, 0, 0, 1, 192, 0, 2, 9, 0x1F, 0x90);

int SocksRequest::connectTo(const std::string& address, int port) {
    const sockaddr_storage destination = addressOf(address, port);
    const socklen_t length = destination.ss_family == AF_INET6 ? 28 : 16;
    socksError = 55;
    errno = 77;
    const int result =
        SocksConnect(record(), reinterpret_cast<const sockaddr*>(&destination), length, socksError);
    error = errno;
    return result;
}

std::string SocksRequest::storedDestination() const {
    if (isSocketRerouted(record()) == 0) return "";
    sockaddr_in6 stored{};
    socklen_t length = sizeof(stored);
    int answer = -1;
    EXPECT_EQ(getSockaddrValues(record(), reinterpret_cast<sockaddr*>(&stored), &length, &answer),
              1);
    EXPECT_EQ(answer, 0);
    char text[INET6_ADDRSTRLEN] = "";
    const bool isIpv6 = stored.sin6_family == AF_INET6;
    EXPECT_EQ(length, isIpv6 ? 28U : 16U);
    const void* const address = isIpv6 ? static_cast<const void*>(&stored.sin6_addr)
                                       : &reinterpret_cast<const sockaddr_in&>(stored).sin_addr;
    ::inet_ntop(stored.sin6_family, address, text, sizeof(text));
    return std::string(text) + " " + std::to_string(ntohs(stored.sin6_port));
}

Lines requestTrace() {
    return {"[INFO ]****************************",
            "[INFO ]** starting socks request **",
            "[INFO ]****************************",
            "[INFO ]* socks server request IPV4 10.1.2.3(80)",
            "[INFO ]Client request : [0x05,0x01,0x00,0x01,0x0A,0x01,0x02,0x03,0x00,0x50]",
            "[INFO ]send client request OK",
            "[INFO ]==> Waiting server reply"};
}

Lines successTrace() {
    return {"[INFO ]*******************************", "[INFO ]** socks request successfull **",
            "[INFO ]*******************************"};
}

Lines replyTrace(const Lines& reply) {
    return joined({ipv4HandShakeTrace(), requestTrace(), reply});
}
