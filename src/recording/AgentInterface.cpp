#include "recording/AgentInterface.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/SignalBlock.h"
#include "base/heapObject.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "base/utils.h"

constinit std::atomic<AgentInterface*> agentInterface{nullptr};
constinit std::atomic<bool> agentInterfaceUnplugged{false};

namespace {

constexpr const char* defaultAddress = "127.0.0.1";
constexpr std::int32_t defaultPort = 1092;

// How long the system may take over connecting, and again over sending. Signals wait meanwhile, and
// so does the application.
constexpr timeval longestWait = {5, 0};

void limitWaits(int connection) {
    Initsetsockopt();
    const auto set = setsockopt_ptr.load(std::memory_order_relaxed);
    if (set != nullptr) set(connection, SOL_SOCKET, SO_SNDTIMEO, &longestWait, sizeof(longestWait));
}

constinit char systemDir[2048] = {};
constinit unsigned long systemDirLen = 0;

}  // namespace

AgentInterface::AgentInterface(const char* addressText, const char* portText,
                               RecorderMessage* first)
    : port(portText == nullptr ? defaultPort
                               : static_cast<std::int32_t>(std::strtol(portText, nullptr, 10))),
      firstMessage(nullptr) {
    AllocCriticalSectionBase(&messageLock);
    AllocCriticalSectionBase(&sendLock);
    std::snprintf(address, sizeof(address), "%s",
                  addressText == nullptr ? defaultAddress : addressText);
    const CriticalSectionHold hold(messageLock);
    firstMessage.store(first, std::memory_order_release);
}

AgentInterface::~AgentInterface() {
    StartCriticalSectionBase(&messageLock);
    destroyOnHeap(firstMessage.exchange(nullptr, std::memory_order_relaxed));
    FreeCriticalSectionBase(&sendLock);
    EndCriticalSectionBase(&messageLock);
    FreeCriticalSectionBase(&messageLock);
}

void AgentInterface::sendAMessage(RecorderMessage& message) {
    // Cleared only after its delivery: who sees null needs not wait for it any more.
    if (firstMessage.load(std::memory_order_acquire) != nullptr) flushFirstMessage();
    message.finish();
    _sendAMessage(message.toString(), message.length());
}

void AgentInterface::flushFirstMessage() {
    const SignalBlock signals;
    const CriticalSectionHold hold(messageLock);
    RecorderMessage* const first = firstMessage.load(std::memory_order_relaxed);
    if (first == nullptr) return;
    first->finish();
    _sendAMessage(first->toString(), first->length());
    firstMessage.store(nullptr, std::memory_order_release);
    destroyOnHeap(first);
}

void AgentInterface::_sendAMessage(const char* text, unsigned long length) {
    if (length == 0 || text == nullptr || agentInterfaceUnplugged.load(std::memory_order_relaxed)) {
        return;
    }
    const SignalBlock signals;
    const CriticalSectionHold hold(sendLock);
    const int savedErrno = errno;
    const int savedSocketError = True_WSAGetLastError();
    deliver(signals, text, length);
    True_WSASetLastError(savedSocketError);
    errno = savedErrno;
}

void AgentInterface::deliver(const SignalBlock& signals, const char* text, unsigned long length) {
    const int connection = True_socket(2, 1, 6);
    if (connection == -1) {
        const int error = True_WSAGetLastError();
        x_disp(TRACE_ERROR, "socket() returned INVALID_SOCKET, WSAGetLastError=%d %s : %s", error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
        return;
    }
    limitWaits(connection);
    sockaddr_in recorder{};
    recorder.sin_family = AF_INET;
    recorder.sin_addr.s_addr = True_inet_addr(address);
    recorder.sin_port = True_htons(static_cast<std::uint16_t>(port));
    if (True_connect(connection, reinterpret_cast<const sockaddr*>(&recorder), sizeof(recorder)) ==
        -1) {
        const int error = True_WSAGetLastError();
        x_disp(TRACE_ERROR, "connect() returned SOCKET_ERROR, WSAGetLastError=%d %s : %s", error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
    } else if (signals.send(connection, text, static_cast<unsigned int>(length)) == -1) {
        const int error = True_WSAGetLastError();
        x_disp(TRACE_ERROR, "send() returned SOCKET_ERROR, WSAGetLastError=%d %s : %s", error,
               getSocketErrorKind(error), getSocketErrorMsg(error));
    }
    True_close(connection);
}

int AgentInterface::emitEndOfProcess(const char* address, const char* port, long long) {
    systemDirLen = 0;
    if (getcwd(systemDir, sizeof(systemDir)) == nullptr) exit(-1);
    systemDirLen = std::strlen(systemDir);
    if (systemDirLen == 0 || systemDirLen > sizeof(systemDir)) exit(-1);
    AgentInterface temporary(address, port, nullptr);
    RecorderMessage message(RecorderMessageKind::exit, 0);
    temporary.sendAMessage(message);
    return 0;
}

AgentInterface* getAgentInterface() {
    return agentInterface.load(std::memory_order_acquire);
}

void sendToRecorder(RecorderMessage& message) {
    AgentInterface* const recorder = getAgentInterface();
    if (recorder != nullptr) recorder->sendAMessage(message);
}

void setTimeStampNs(RecorderMessage& message, long long timeStampNs) {
    if (timeStampNs != -1) message.set(RecorderMessageAttribute::timestampNs, timeStampNs);
}
