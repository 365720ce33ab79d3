// Plays an arbitrary SOCKS server to the client: whatever that answers, in whatever pieces, and
// wherever it stops, the client reads no byte too many, comes to an end, leaves the socket's status
// flags as they were, sends what it has to send, and gives one of the outcomes that there are.

#include <arpa/inet.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>

#include "FuzzedServer.h"
#include "socks/Socks.h"
#include "support/SocksServer.h"

using veltra::testing::bytes;
using veltra::testing::FuzzedInput;
using veltra::testing::FuzzedServer;
using veltra::testing::require;
using veltra::testing::socksGreeting;

namespace {

constexpr int callersErrno = 77;

struct Outcome {
    int status;
    int socksError;
    int error;
};

constexpr Outcome refusals[] = {
    {SOCKS_REFUSED, ECONNREFUSED, ECONNREFUSED}, {SOCKS_REFUSED, ENETUNREACH, ENETUNREACH},
    {SOCKS_REFUSED, EHOSTUNREACH, EHOSTUNREACH}, {SOCKS_REFUSED, ETIMEDOUT, ETIMEDOUT},
    {SOCKS_REFUSED, EOPNOTSUPP, ECONNREFUSED},   {SOCKS_REFUSED, EADDRNOTAVAIL, EADDRNOTAVAIL},
    {SOCKS_REFUSED, ECONNABORTED, ECONNREFUSED},
};

struct Destination {
    explicit Destination(bool isIpv6) {
        if (isIpv6) {
            auto& ipv6 = reinterpret_cast<sockaddr_in6&>(storage);
            ipv6.sin6_family = AF_INET6;
            ipv6.sin6_port = htons(443);
            ::inet_pton(AF_INET6, "2001:db8::7", &ipv6.sin6_addr);
            length = sizeof(sockaddr_in6);
            request =
                bytes(5, 1, 0, 4, 0x20, 1, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 1, 0xBB);
        } else {
            auto& ipv4 = reinterpret_cast<sockaddr_in&>(storage);
            ipv4.sin_family = AF_INET;
            ipv4.sin_port = htons(80);
            ::inet_pton(AF_INET, "10.1.2.3", &ipv4.sin_addr);
            length = sizeof(sockaddr_in);
            request = bytes(5, 1, 0, 1, 10, 1, 2, 3, 0, 80);
        }
    }
    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&storage); }

    sockaddr_storage storage = {};
    socklen_t length;
    std::string request;
};

bool isRefusal(const Outcome& outcome) {
    return std::any_of(std::begin(refusals), std::end(refusals), [&](const Outcome& refusal) {
        return refusal.socksError == outcome.socksError && refusal.error == outcome.error;
    });
}

void checkOutcome(const Outcome& outcome, const FuzzedInput& input) {
    switch (outcome.status) {
        case SOCKS_CONNECTED:
            require(outcome.socksError == 0, "connected with an error");
            return require(outcome.error == callersErrno || outcome.error == EAGAIN ||
                               outcome.error == input.connectError,
                           "connected with another error code");
        case SOCKS_SERVER_UNREACHABLE:
            require(input.connectError != 0 && outcome.socksError != 0, "unreachable server");
            return require(outcome.error == ECONNREFUSED, "unreachable without error code 111");
        case SOCKS_FAILED:
            require(outcome.socksError != 0, "failure without an error");
            return require(outcome.error == ECONNREFUSED, "failure without error code 111");
        case SOCKS_REFUSED:
            return require(isRefusal(outcome), "refusal that is in no row of the table");
        default:
            require(false, "no outcome of an exchange");
    }
}

void checkSent(const std::string& sent, const Destination& destination, int status) {
    const std::string both = socksGreeting + destination.request;
    if (status == SOCKS_CONNECTED || status == SOCKS_REFUSED) {
        return require(sent == both, "another request");
    }
    require(sent.empty() || sent == socksGreeting || sent == both, "other bytes");
}

void checkRecord(SOCKETINFO* record, const Destination& destination, int status) {
    sockaddr_storage stored = {};
    socklen_t length = sizeof(stored);
    int error = -1;
    const bool isRerouted =
        getSockaddrValues(record, reinterpret_cast<sockaddr*>(&stored), &length, &error) == 1;
    require(isRerouted == (status == SOCKS_CONNECTED), "mark of a rerouted socket");
    if (!isRerouted) return;
    require(error == 0 && length == destination.length, "length of the destination");
    require(std::memcmp(&stored, &destination.storage, length) == 0, "another destination");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    veltra::testing::useRealCalls();
    std::signal(SIGPIPE, SIG_DFL);
    socksModeActive.store(1);
    // Traces are made in full, and end nowhere.
    debugLvl.store(1023);
    set_file_display("/dev/null", "/dev");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const FuzzedInput input(data, size);
    const Destination destination(input.isIpv6);
    const FuzzedServer server(input);
    SOCKETINFO* const record =
        registerNewSocket(server.client(), destination.address()->sa_family, SOCK_STREAM, 0, 0);
    const int flags = ::fcntl(server.client(), F_GETFL);
    Outcome outcome = {0, 0, 0};
    errno = callersErrno;
    outcome.status =
        SocksConnect(record, destination.address(), destination.length, outcome.socksError);
    outcome.error = errno;
    require(::fcntl(server.client(), F_GETFL) == flags, "other status flags");
    checkOutcome(outcome, input);
    if (!input.isServerGone) checkSent(server.received(), destination, outcome.status);
    checkRecord(record, destination, outcome.status);
    removeSockaddrElem(record);
    freeSocketInfo(server.client());
    return 0;
}
