#include <cstring>

#include "base/addressText.h"
#include "base/applicationMemory.h"
#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/lookUpMessages.h"
#include "hooks/tracedText.h"

namespace {

void recordFailure(const LookUp& lookUp, const char* name, int error) {
    RecorderMessage message(RecorderMessageKind::addrinfo, lookUp.numbers.callNumber);
    setLookUpHeader(message, lookUp);
    // The real call may have failed without reading the name.
    if (readableLength(name, 1) != 0) {
        message.set(RecorderMessageAttribute::name, name,
                    static_cast<int>(readableTextLength(name)));
    }
    message.set(RecorderMessageAttribute::returnValue, 0LL);
    message.set(RecorderMessageAttribute::error, error);
    sendToRecorder(message);
}

void traceResult(int callNumber, const char* name, const struct hostent* host, int error) {
    if (!isTraceWritten(host == nullptr ? TRACE_WARNI : TRACE_RET)) return;
    const TracedText shown = tracedText(name);
    if (host == nullptr) {
        x_disp(TRACE_WARNI,
               "[%d]gethostbyname (0 return value : %d %s : %s) (\"%.*s\") returns 0x%lX, "
               "ret->h_name=%s",
               callNumber, error, getSocketErrorKind(error), getSocketErrorMsg(error), shown.length,
               shown.text, 0UL, "<null>");
    } else {
        x_disp(TRACE_RET, "[%d]gethostbyname (OK) (\"%.*s\") returns 0x%lX, ret->h_name=%s",
               callNumber, shown.length, shown.text, reinterpret_cast<unsigned long>(host),
               host->h_name != nullptr ? host->h_name : "<null>");
    }
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
    traceResult(callNumber, name, host, error.code());
    if (host == nullptr) {
        recordFailure(lookUp, name, error.code());
    } else {
        recordHosts(lookUp, name, *host);
    }
    return host;
}
