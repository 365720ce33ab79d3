#include "base/addressText.h"
#include "base/traceUtils.h"
#include "hooks/HookErrorCode.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "hooks/lookUpMessages.h"
#include "hooks/tracedText.h"

namespace {

// Every IPv4 element is recorded with the address of the first element, whatever its own family:
// established.
void recordElement(const LookUp& lookUp, const addrinfo& element, const addrinfo& first,
                   const char* name) {
    RecorderMessage message(RecorderMessageKind::addrinfo, lookUp.numbers.callNumber);
    setLookUpHeader(message, lookUp);
    message.set(RecorderMessageAttribute::family, familyToString(element.ai_family), 0);
    message.set(RecorderMessageAttribute::name, name, 0);
    if (element.ai_family == AF_INET) {
        const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(first.ai_addr);
        message.set(RecorderMessageAttribute::ip, ipv4Text(ipv4.sin_addr).text, 0);
    }
    sendToRecorder(message);
}

// A look-up that fails may not have read the texts.
void traceResult(int callNumber, int result, int error, const char* node, const char* service) {
    if (!isTraceWritten(result != 0 ? TRACE_WARNI : TRACE_RET)) return;
    const TracedText shownNode = tracedText(node);
    const TracedText shownService = tracedText(service);
    if (result != 0) {
        x_disp(TRACE_WARNI, "[%d]getaddrinfo (ERROR : %d %s : %s) nodename : %.*s\t servname %.*s",
               callNumber, result, getSocketErrorKind(error), getSocketErrorMsg(error),
               shownNode.length, shownNode.text, shownService.length, shownService.text);
    } else {
        x_disp(TRACE_RET, "[%d]getaddrinfo (OK) nodename : %.*s\t servname %.*s", callNumber,
               shownNode.length, shownNode.text, shownService.length, shownService.text);
    }
}

}  // namespace

int Mygetaddrinfo(const char* node, const char* service, const struct addrinfo* hints,
                  struct addrinfo** res) {
    HookErrorCode error;
    const LookUp lookUp;
    const int callNumber = lookUp.numbers.callNumber;
    if (socketInitialized.load(std::memory_order_acquire) == 0) initializeSocketPointers();
    x_disp(TRACE_CALL, "[%d]getaddrinfo ", callNumber);
    const int result = error.around([&] { return True_getaddrinfo(node, service, hints, res); });
    traceResult(callNumber, result, error.code(), node, service);
    if (result != 0) return result;
    const char* const name = node != nullptr ? node : service;
    for (const addrinfo* element = *res; element != nullptr; element = element->ai_next) {
        recordElement(lookUp, *element, **res, name);
    }
    return result;
}
