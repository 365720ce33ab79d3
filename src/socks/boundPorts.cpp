#include <cerrno>

#include "base/heapObject.h"
#include "base/realFunctions.h"
#include "base/traceUtils.h"
#include "socks/Socks.h"

namespace {

struct BindedPortMemo {
    std::int32_t socket;
    std::uint16_t port;  // host order
    BindedPortMemo* next;
};

// Both newest first, both guarded by criticalSectionSocks. Freed entries are zeroed and used again.
constinit BindedPortMemo* bindedPortList = nullptr;
constinit BindedPortMemo* freedBindedPortList = nullptr;

// False in most programs for ever, which saves them the lock at every close and connect.
constinit std::atomic<bool> isAnyPortBound{false};

void push(BindedPortMemo*& list, BindedPortMemo* memo) {
    memo->next = list;
    list = memo;
}

BindedPortMemo* takeOrAllocate() {
    BindedPortMemo* const memo = freedBindedPortList;
    if (memo == nullptr) return makeOnHeap<BindedPortMemo>();
    freedBindedPortList = memo->next;
    return memo;
}

bool remember(int fd, std::uint16_t port) {
    const CriticalSectionHold hold(criticalSectionSocks);
    BindedPortMemo* const memo = takeOrAllocate();
    if (memo == nullptr) {
        x_disp(TRACE_ERROR, "malloc error in socks::createBindedPortMemo !!!");
        return false;
    }
    memo->socket = fd;
    memo->port = port;
    push(bindedPortList, memo);
    isAnyPortBound.store(true, std::memory_order_relaxed);
    return true;
}

void freeList(BindedPortMemo*& list) {
    while (list != nullptr) {
        BindedPortMemo* const memo = list;
        list = memo->next;
        destroyOnHeap(memo);
    }
}

}  // namespace

void createBindedPortMemo(int fd, std::uint16_t port) {
    if (remember(fd, port)) displayBindedPortMemo();
}

void forgetNewestBoundPort(int fd) {
    if (!isAnyPortBound.load(std::memory_order_relaxed)) return;
    const CriticalSectionHold hold(criticalSectionSocks);
    BindedPortMemo** link = &bindedPortList;
    while (*link != nullptr && (*link)->socket != fd)
        link = &(*link)->next;
    BindedPortMemo* const memo = *link;
    if (memo == nullptr) return;
    *link = memo->next;
    isAnyPortBound.store(bindedPortList != nullptr, std::memory_order_relaxed);
    memo->socket = 0;
    memo->port = 0;
    push(freedBindedPortList, memo);
}

void freeBindedPortMemo(int fd) {
    forgetNewestBoundPort(fd);
    displayBindedPortMemo();
}

// The lock is dropped around the line of each entry; entries stay valid memory, so the walk can go
// on.
void displayBindedPortMemo() {
    if (!isTraceWritten(TRACE_INFO)) return;
    const SignalBlock signals;
    StartCriticalSectionBase(&criticalSectionSocks);
    x_disp(TRACE_INFO, "*********** memo list ************");
    for (const BindedPortMemo* memo = bindedPortList; memo != nullptr; memo = memo->next) {
        const BindedPortMemo shown = *memo;
        EndCriticalSectionBase(&criticalSectionSocks);
        x_disp(TRACE_INFO, "socket %lx\t port %d", static_cast<unsigned long>(shown.socket),
               shown.port);
        StartCriticalSectionBase(&criticalSectionSocks);
    }
    x_disp(TRACE_INFO, "**********************************");
    EndCriticalSectionBase(&criticalSectionSocks);
}

void physicalFreeBindedPortMemo() {
    const CriticalSectionHold hold(criticalSectionSocks);
    freeList(bindedPortList);
    isAnyPortBound.store(false, std::memory_order_relaxed);
    freeList(freedBindedPortList);
}

bool isPortBound(std::uint16_t port) {
    if (!isAnyPortBound.load(std::memory_order_relaxed)) return false;
    const CriticalSectionHold hold(criticalSectionSocks);
    const BindedPortMemo* memo = bindedPortList;
    while (memo != nullptr && memo->port != port)
        memo = memo->next;
    return memo != nullptr;
}

int getLocalPort(int fd, int family) {
    sockaddr_in6 own{};  // its port stands where that of an IPv4 address does
    socklen_t length = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    if (True_getsockname(fd, reinterpret_cast<struct sockaddr*>(&own), &length) == -1) {
        const int error = True_WSAGetLastError();
        if (error != EAGAIN) {
            x_disp(TRACE_ERROR, "failed to retrieve sock options (SOCKET ERROR : %d %s : %s)",
                   error, getSocketErrorKind(error), getSocketErrorMsg(error));
        }
        return 0;
    }
    const int port = be16toh(own.sin6_port);
    x_disp(TRACE_INFO, "local port : %d", port);
    return port;
}
