#include <cstring>

#include "base/addressText.h"
#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/lookUpMessages.h"

namespace {

void recordFailure(const LookUp& lookUp, const char* name, int error) {
    RecorderMessage message(RecorderMessageKind::addrinfo, lookUp.numbers.callNumber);
    setLookUpHeader(message, lookUp);
    message.set(RecorderMessageAttribute::name, name, 0);
    message.set(RecorderMessageAttribute::returnValue, 0LL);
    message.set(RecorderMessageAttribute::error, error);
    sendToRecorder(message);
}

// One address of the host, or the host without an address.
void recordHost(const LookUp& lookUp, const char* name, int type, const char* address) {
    RecorderMessage message(RecorderMessageKind::addrinfo, lookUp.numbers.callNumber);
    setLookUpHeader(message, lookUp);
    message.set(RecorderMessageAttribute::family, afToString(type), 0);
    message.set(RecorderMessageAttribute::name, name, 0);
    if (address != nullptr) {
        in_addr ipv4;
        std::memcpy(&ipv4, address, sizeof(ipv4));
        message.set(RecorderMessageAttribute::ip, ipv4Text(ipv4).text, 0);
    }
    sendToRecorder(message);
}

void recordHosts(const LookUp& lookUp, const char* name, const struct hostent& host) {
    if (host.h_addrtype != AF_INET) return recordHost(lookUp, name, host.h_addrtype, nullptr);
    if (host.h_addr_list == nullptr) return;
    for (char* const* address = host.h_addr_list; *address != nullptr; ++address) {
        recordHost(lookUp, name, AF_INET, *address);
    }
}

}  // namespace

struct hostent* Mygethostbyname(const char* name) {
    HookErrorCode error;
    const LookUp lookUp;
    const int callNumber = lookUp.numbers.callNumber;
    if (socketInitialized.load(std::memory_order_acquire) == 0) initializeSocketPointers();
    x_disp(TRACE_CALL, "[%d]gethostbyname ", callNumber);
    struct hostent* const host = error.around([&] { return True_gethostbyname(name); });
    if (host == nullptr) {
        x_disp(TRACE_WARNI,
               "[%d]gethostbyname (0 return value : %d %s : %s) (\"%s\") returns 0x%lX, "
               "ret->h_name=%s",
               callNumber, error.code(), getSocketErrorKind(error.code()),
               getSocketErrorMsg(error.code()), name, 0UL, "<null>");
        recordFailure(lookUp, name, error.code());
        return host;
    }
    x_disp(TRACE_RET, "[%d]gethostbyname (OK) (\"%s\") returns 0x%lX, ret->h_name=%s", callNumber,
           name, reinterpret_cast<unsigned long>(host),
           host->h_name != nullptr ? host->h_name : "<null>");
    recordHosts(lookUp, name, *host);
    return host;
}
