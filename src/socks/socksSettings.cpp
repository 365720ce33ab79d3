#include <cstdlib>

#include "socks/Socks.h"

constinit std::atomic<int> socksDisplayMode{0};
constinit std::atomic<int> connectMaxTimeout{10};
constinit const char* socksIpv4Val = nullptr;
constinit const char* socksIpv6Val = nullptr;
constinit std::int32_t socksPort4Val = 0;
constinit std::int32_t socksPort6Val = 0;
constinit CriticalSection criticalSectionSocks = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr std::int32_t defaultSocksPort = 1081;

// The variable's decimal number, or `otherwise` if it is absent, no number, or 0.
std::int32_t numberFrom(const char* variable, std::int32_t otherwise) {
    const char* const text = getenv(variable);
    const auto number = text == nullptr ? 0 : static_cast<std::int32_t>(strtol(text, nullptr, 10));
    return number != 0 ? number : otherwise;
}

void readTimeout() {
    connectMaxTimeout.store(numberFrom("VELTRA_SOCKET_AGENT_SOCKS_MAX_TIMEOUT",
                                       connectMaxTimeout.load(std::memory_order_relaxed)),
                            std::memory_order_relaxed);
}

void traceInactive() {
    x_disp(TRACE_INFO, "**************************");
    x_disp(TRACE_INFO, "** SocksMode not active **");
    x_disp(TRACE_INFO, "**************************");
}

// An unset address prints as the C library prints a null text.
void traceActive() {
    x_disp(TRACE_INFO, "**********************");
    x_disp(TRACE_INFO, "** SocksMode active **");
    x_disp(TRACE_INFO, "**********************");
    x_disp(TRACE_INFO, "Socks server IPV4 IP : %s", socksIpv4Val);
    x_disp(TRACE_INFO, "Socks server IPV6 IP : %s", socksIpv6Val);
    x_disp(TRACE_INFO, "Socks server IPV4 Port : %d", socksPort4Val);
    x_disp(TRACE_INFO, "Socks server IPV6 Port : %d", socksPort6Val);
}

}  // namespace

void initializeSocksParam() {
    socksIpv4Val = getenv("VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS");
    if (socksIpv4Val != nullptr) {
        socksPort4Val = numberFrom("VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4", defaultSocksPort);
    }
    socksIpv6Val = getenv("VELTRA_SOCKET_AGENT_SOCKS_IPV6_ADDRESS");
    if (socksIpv6Val != nullptr) {
        socksPort6Val = numberFrom("VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV6", defaultSocksPort);
    }
    if (socksIpv4Val == nullptr && socksIpv6Val == nullptr) {
        socksModeActive.store(0, std::memory_order_relaxed);
        traceInactive();
        return;
    }
    socksModeActive.store(1, std::memory_order_relaxed);
    readTimeout();
    traceActive();
    if (getDebugLvl() != 0) socksDisplayMode.store(1, std::memory_order_relaxed);
}

void InitializeSocks() {
    AllocCriticalSectionBase(&criticalSectionSocks);
}

void FinalizeSocks() {
    FreeCriticalSectionBase(&criticalSectionSocks);
}
