#include "recording/AgentInterface.h"

#include <netinet/tcp.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/heapObject.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "base/utils.h"

constinit std::atomic<AgentInterface*> agentInterface{nullptr};
constinit std::atomic<bool> agentInterfaceUnplugged{false};

namespace {

constexpr const char* defaultAddress = "127.0.0.1";
constexpr std::int32_t defaultPort = 1092;

// How long, in seconds, one message may hold the application: for its turn behind other threads'
// messages, for connecting and for sending.
constexpr int longestTurn = 3;
constexpr timeval longestWait = {3, 0};

bool isOnThisMachine(const sockaddr_in& recorder) {
    return ntohl(recorder.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
}

// Whoever closes first keeps the port for a minute, and after some thousand messages every further
// connect would search for a free one. On the own machine nothing can be under way any more that
// the port is kept for: the recorder gets what was sent, and the end of the stream after it.
void giveBackPortAtClose(int connection) {
    constexpr int atOnce = -1;
    const auto set = setsockopt_ptr.load(std::memory_order_relaxed);
    if (set != nullptr) set(connection, IPPROTO_TCP, TCP_LINGER2, &atOnce, sizeof(atOnce));
}

void traceFailure(const char* call, const char* failure) {
    const int error = True_WSAGetLastError();
    x_disp(TRACE_ERROR, "%s() returned %s, WSAGetLastError=%d %s : %s", call, failure, error,
           getSocketErrorKind(error), getSocketErrorMsg(error));
}

void traceNoTurn() {
    x_disp(TRACE_ERROR, "no turn to send a message within %d seconds", longestTurn);
}

bool isPast(const timespec& deadline) {
    const timespec now = deadlineIn(0);
    return now.tv_sec > deadline.tv_sec ||
           (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec);
}

// A short count is as good as a whole one, unless it is all that went out in time.
bool sendText(int connection, const char* text, std::size_t length) {
    const timespec deadline = deadlineIn(static_cast<int>(longestWait.tv_sec));
    const ssize_t sent = SignalBlock::send(connection, text, length);
    if (sent == -1) return false;
    if (static_cast<std::size_t>(sent) == length || !isPast(deadline)) return true;
    True_WSASetLastError(EAGAIN);
    return false;
}

// A flag that a process and its forked children see alike, or null when memory is short.
std::atomic<int>* makeSharedFlag() {
    void* const page = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return page == MAP_FAILED ? nullptr : new (page) std::atomic<int>(0);
}

constinit char systemDir[2048] = {};
constinit unsigned long systemDirLen = 0;

}  // namespace

AgentInterface::AgentInterface(const char* addressText, const char* portText,
                               RecorderMessage* first)
    : port(portText == nullptr ? defaultPort
                               : static_cast<std::int32_t>(std::strtol(portText, nullptr, 10))),
      firstMessage(nullptr),
      firstMessageSent(first == nullptr ? nullptr : makeSharedFlag()),
      openConnection(-1) {
    AllocCriticalSectionBase(&messageLock);
    AllocCriticalSectionBase(&sendLock);
    std::snprintf(address, sizeof(address), "%s",
                  addressText == nullptr ? defaultAddress : addressText);
    const CriticalSectionHold hold(messageLock);
    firstMessage.store(first, std::memory_order_release);
}

AgentInterface::~AgentInterface() {
    {
        const CriticalSectionHold hold(messageLock);
        destroyOnHeap(firstMessage.exchange(nullptr, std::memory_order_relaxed));
        FreeCriticalSectionBase(&sendLock);
    }
    FreeCriticalSectionBase(&messageLock);
    if (firstMessageSent != nullptr) munmap(firstMessageSent, sizeof(*firstMessageSent));
}

void AgentInterface::sendAMessage(RecorderMessage& message) {
    const timespec turn = deadlineIn(longestTurn);
    // Cleared only after its delivery: who sees null needs not wait for it any more.
    const bool isTurn =
        firstMessage.load(std::memory_order_acquire) == nullptr || flushFirstMessage(turn);
    message.finish();
    if (!isTurn || !_sendAMessage(message.toString(), message.length(), turn)) traceNoTurn();
}

// Children that were forked while the message was held have a copy of it: the first of the family
// that has something to tell sends it.
bool AgentInterface::isFirstMessageOurs() {
    return firstMessageSent == nullptr ||
           firstMessageSent->exchange(1, std::memory_order_relaxed) == 0;
}

// False when another thread did not come to an end with it before the deadline.
bool AgentInterface::flushFirstMessage(const timespec& turnDeadline) {
    const TimedCriticalSectionHold hold(messageLock, turnDeadline);
    if (!hold.isHeld()) return false;
    RecorderMessage* const first = firstMessage.load(std::memory_order_relaxed);
    if (first == nullptr) return true;
    if (isFirstMessageOurs()) {
        first->finish();
        if (!_sendAMessage(first->toString(), first->length(), turnDeadline)) traceNoTurn();
    }
    firstMessage.store(nullptr, std::memory_order_release);
    destroyOnHeap(first);
    return true;
}

// False when other threads' messages did not leave a turn before the deadline.
bool AgentInterface::_sendAMessage(const char* text, unsigned long length,
                                   const timespec& turnDeadline) {
    if (length == 0 || text == nullptr || agentInterfaceUnplugged.load(std::memory_order_relaxed)) {
        return true;
    }
    const TimedCriticalSectionHold hold(sendLock, turnDeadline);
    if (!hold.isHeld()) return false;
    const int savedErrno = errno;
    const int savedSocketError = True_WSAGetLastError();
    deliver(text, length);
    True_WSASetLastError(savedSocketError);
    errno = savedErrno;
    return true;
}

void AgentInterface::deliver(const char* text, unsigned long length) {
    const MessageSocket connection;
    if (connection.number() == -1) return traceFailure("socket", "INVALID_SOCKET");
    openConnection.store(connection.number(), std::memory_order_relaxed);
    sendOn(connection, text, length);
    openConnection.store(-1, std::memory_order_relaxed);
}

// The application may have put a file of its own in the connection's place, above all while the
// connect waited.
void AgentInterface::sendOn(const MessageSocket& connection, const char* text,
                            unsigned long length) {
    sockaddr_in recorder{};
    recorder.sin_family = AF_INET;
    recorder.sin_addr.s_addr = True_inet_addr(address);
    recorder.sin_port = True_htons(static_cast<std::uint16_t>(port));
    if (!connection.isStillOurs()) return traceFailure("connect", "SOCKET_ERROR");
    limitWaits(connection.number(), longestWait);
    if (isOnThisMachine(recorder)) giveBackPortAtClose(connection.number());
    if (True_connect(connection.number(), reinterpret_cast<const sockaddr*>(&recorder),
                     sizeof(recorder)) == -1) {
        return traceFailure("connect", "SOCKET_ERROR");
    }
    if (!connection.isStillOurs() ||
        !sendText(connection.number(), text, static_cast<unsigned int>(length))) {
        traceFailure("send", "SOCKET_ERROR");
    }
}

void AgentInterface::closeInheritedConnection() {
    const int connection = openConnection.exchange(-1, std::memory_order_relaxed);
    if (connection == -1) return;
    const bool isStillOurs = isOwnDescriptor(connection);
    forgetOwnDescriptor(connection);
    if (isStillOurs) True_close(connection);
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
