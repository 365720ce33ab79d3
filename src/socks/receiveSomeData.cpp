#include "socks/receiveSomeData.h"

#include <cerrno>
#include <cstdio>

#include "base/agentMemory.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "base/utils.h"

namespace {

constexpr std::size_t hexTextSize(ssize_t count) {
    return static_cast<std::size_t>(count) * 3 + 1;
}

// Each byte as "%02X ", in memory that the caller gives back; null when memory is short.
char* hexText(const unsigned char* bytes, ssize_t count) {
    auto* const text = static_cast<char*>(allocateMemory(hexTextSize(count)));
    if (text == nullptr) return nullptr;
    text[0] = '\0';
    for (ssize_t i = 0; i < count; ++i)
        snprintf(text + i * 3, 4, "%02X ", bytes[i]);
    return text;
}

}  // namespace

bool receiveSomeData(int fd, unsigned char* buffer, int length, int& socksError,
                     const char* label) {
    if (length < 1 || buffer == nullptr) return false;
    buffer[0] = 0;
    bool repeated = false;
    ssize_t count = 0;
    while ((count = True_recv(fd, buffer, static_cast<std::size_t>(length), 0)) == -1) {
        const int error = True_WSAGetLastError();
        if (error == EAGAIN) {
            repeated = true;
            continue;
        }
        x_disp(TRACE_ERROR, "failed to receive %s (SOCKET ERROR : %d %s : %s)", label, error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
        socksError = error;
        True_WSASetLastError(ECONNREFUSED);
        return false;
    }
    if (!isTraceWritten(TRACE_INFO)) return true;
    const int leftBehind = True_WSAGetLastError();
    char* const text = hexText(buffer, count);
    if (text == nullptr) {
        x_disp(TRACE_ERROR, "malloc error in \"receiveSomeData\"");
        return false;
    }
    x_disp(TRACE_INFO, repeated ? "recv %s OK after some time... : %s" : "recv %s OK : %s", label,
           text);
    releaseMemory(text, hexTextSize(count));
    True_WSASetLastError(leftBehind);
    return true;
}
