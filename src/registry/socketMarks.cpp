#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/socksMode.h"
#include "registry/ClientServer.h"
#include "registry/registryState.h"

namespace {

// Marks are single bits that say nothing about other memory, so relaxed order is enough.

int hasMark(const SOCKETINFO* record, SocketFlag flag) {
    return record != nullptr && (record->flags.load(std::memory_order_relaxed) & flag) != 0 ? 1 : 0;
}

void setMark(SOCKETINFO* record, SocketFlag flag) {
    if (record != nullptr) record->flags.fetch_or(flag, std::memory_order_relaxed);
}

int clearMark(SOCKETINFO* record, SocketFlag flag) {
    if (record == nullptr) return 0;
    return (record->flags.fetch_and(~flag, std::memory_order_relaxed) & flag) != 0 ? 1 : 0;
}

}  // namespace

int getSocket(const SOCKETINFO* record) {
    return record == nullptr ? -1 : record->socket.load(std::memory_order_relaxed);
}

int getProtocol(const SOCKETINFO* record) {
    return record == nullptr ? 0 : record->protocol.load(std::memory_order_relaxed);
}

int getFamily(const SOCKETINFO* record) {
    return record == nullptr ? 0 : record->family.load(std::memory_order_relaxed);
}

void setFamily(SOCKETINFO* record, int family) {
    if (record != nullptr) record->family.store(family, std::memory_order_relaxed);
}

int isOpenedSocket(const SOCKETINFO* record) {
    return hasMark(record, SOCKET_OPENED);
}

int isAcceptedSocket(const SOCKETINFO* record) {
    return hasMark(record, SOCKET_ACCEPTED);
}

int isSocketRerouted(const SOCKETINFO* record) {
    return hasMark(record, SOCKET_REROUTED);
}

void createMemoOpenedSocket(SOCKETINFO* record) {
    setMark(record, SOCKET_OPENED);
}

void createMemoAcceptedSocket(SOCKETINFO* record) {
    setMark(record, SOCKET_ACCEPTED);
}

bool claimAcceptedMark(SOCKETINFO* record) {
    return record == nullptr ||
           (record->flags.fetch_or(SOCKET_ACCEPTED, std::memory_order_relaxed) & SOCKET_ACCEPTED) ==
               0;
}

void freeOpenedSocket(SOCKETINFO* record) {
    clearMark(record, SOCKET_OPENED);
}

void freeAcceptedSocket(SOCKETINFO* record) {
    clearMark(record, SOCKET_ACCEPTED);
}

int freeMemoOpenedSocket(SOCKETINFO* record) {
    return clearMark(record, SOCKET_OPENED);
}

int freeMemoAcceptedSocket(SOCKETINFO* record) {
    return clearMark(record, SOCKET_ACCEPTED);
}

int removeSockaddrElem(SOCKETINFO* record) {
    return clearMark(record, SOCKET_REROUTED);
}

CriticalSection* createMemoLockedSocket(SOCKETINFO* record) {
    if (record == nullptr || !isSocksModeActive()) return nullptr;
    setMark(record, SOCKET_LOCKED);
    return &record->connectionLock;
}

CriticalSection* freeMemoLockedSocket(SOCKETINFO* record) {
    if (record == nullptr || !isSocksModeActive()) return nullptr;
    clearMark(record, SOCKET_LOCKED);
    return &record->connectionLock;
}

CriticalSection* isLockedSocket(SOCKETINFO* record) {
    if (!isSocksModeActive() ||
        criticalSectionSocketInfoInitialized.load(std::memory_order_relaxed) == 0) {
        return nullptr;
    }
    return hasMark(record, SOCKET_LOCKED) != 0 ? &record->connectionLock : nullptr;
}

int createSockaddrElem(SOCKETINFO* record, const struct sockaddr* address, int length) {
    if (record == nullptr) return -1;
    const CriticalSectionHold hold(criticalSectionSocketInfoData);
    record->destinationLength =
        std::clamp(length, 0, static_cast<int>(sizeof(record->destination)));
    if (record->destinationLength != 0) {
        std::memcpy(&record->destination, address,
                    static_cast<std::size_t>(record->destinationLength));
    }
    setMark(record, SOCKET_REROUTED);
    return 1;
}

int getSockaddrValues(SOCKETINFO* record, struct sockaddr* address, socklen_t* length, int* error) {
    const CriticalSectionHold hold(criticalSectionSocketInfoData);
    if (isSocketRerouted(record) == 0) return 0;
    const auto stored = static_cast<socklen_t>(record->destinationLength);
    if (stored != 0 && stored <= *length) {
        std::memcpy(address, &record->destination, stored);
        *length = stored;
        *error = 0;
    } else {
        *error = EFAULT;
    }
    return 1;
}
