#include "base/heapObject.h"
#include "registry/ClientServer.h"
#include "registry/DescriptorTable.h"
#include "registry/registryState.h"

constinit SOCKETINFO* allSocketInfo = nullptr;
constinit CriticalSection criticalSectionSocketInfoList = PTHREAD_MUTEX_INITIALIZER;
constinit CriticalSection criticalSectionSocketInfoData = PTHREAD_MUTEX_INITIALIZER;
constinit std::atomic<int> criticalSectionSocketInfoInitialized{0};

namespace {

constinit SOCKETINFO* releasedSocketInfo = nullptr;  // a stack: the last released is reused first
constinit CriticalSection criticalSectionLists = PTHREAD_MUTEX_INITIALIZER;
constinit DescriptorTable recordsByDescriptor;
constinit std::atomic<int> recordsBesideTable{0};  // live records that the table does not cover

SOCKETINFO* allocateRecord() {
    auto* const record = makeOnHeap<SOCKETINFO>();
    if (record != nullptr) AllocCriticalSectionBase(&record->connectionLock);
    return record;
}

void freeRecord(SOCKETINFO* record) {
    FreeCriticalSectionBase(&record->connectionLock);
    destroyOnHeap(record);
}

void freeList(SOCKETINFO*& head) {
    while (head != nullptr) {
        SOCKETINFO* const record = head;
        head = record->next;
        freeRecord(record);
    }
}

// What a socket carries from connect or accept to its close.
void clearMarks(SOCKETINFO* record) {
    record->flags.fetch_and(~(SOCKET_OPENED | SOCKET_ACCEPTED | SOCKET_REROUTED),
                            std::memory_order_relaxed);
}

// The functions below are called with the list lock held.

// Walks only for descriptors that the table does not cover, which in practice the kernel hands out
// to nobody.
SOCKETINFO* findLiveRecord(int socket) {
    if (DescriptorTable::covers(socket)) return recordsByDescriptor.find(socket);
    SOCKETINFO* record = allSocketInfo;
    while (record != nullptr && record->socket.load(std::memory_order_relaxed) != socket) {
        record = record->next;
    }
    return record;
}

SOCKETINFO* takeReleasedRecord() {
    SOCKETINFO* const record = releasedSocketInfo;
    if (record != nullptr) releasedSocketInfo = record->next;
    return record;
}

void pushReleasedRecord(SOCKETINFO* record) {
    record->socket.store(0, std::memory_order_relaxed);
    record->next = releasedSocketInfo;
    releasedSocketInfo = record;
}

bool pushLiveRecord(SOCKETINFO* record, int socket) {
    record->socket.store(socket, std::memory_order_relaxed);
    if (!DescriptorTable::covers(socket)) {
        recordsBesideTable.fetch_add(1, std::memory_order_relaxed);
    } else if (!recordsByDescriptor.store(socket, record)) {
        return false;
    }
    record->previous = nullptr;
    record->next = allSocketInfo;
    if (allSocketInfo != nullptr) allSocketInfo->previous = record;
    allSocketInfo = record;
    return true;
}

void unlinkLiveRecord(SOCKETINFO* record, int socket) {
    if (DescriptorTable::covers(socket)) {
        recordsByDescriptor.store(socket, nullptr);
    } else {
        recordsBesideTable.fetch_sub(1, std::memory_order_relaxed);
    }
    (record->previous != nullptr ? record->previous->next : allSocketInfo) = record->next;
    if (record->next != nullptr) record->next->previous = record->previous;
}

SOCKETINFO* makeLiveRecord(int socket) {
    SOCKETINFO* record = takeReleasedRecord();
    if (record == nullptr) record = allocateRecord();
    if (record != nullptr && !pushLiveRecord(record, socket)) {
        pushReleasedRecord(record);
        record = nullptr;
    }
    return record;
}

SOCKETINFO* claimLiveRecord(int socket, bool withCleanMarks) {
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    SOCKETINFO* record = findLiveRecord(socket);
    if (record == nullptr) record = makeLiveRecord(socket);
    if (record == nullptr) return nullptr;
    if (withCleanMarks) clearMarks(record);
    return record;
}

void setFields(SOCKETINFO* record, int family, int type, int nonBlocking, int protocol) {
    const CriticalSectionHold hold(criticalSectionSocketInfoData);
    record->type.store(type, std::memory_order_relaxed);
    record->protocol.store(protocol, std::memory_order_relaxed);
    record->family.store(family, std::memory_order_relaxed);
    record->destinationLength = 0;
    if (nonBlocking != 0) {
        record->flags.fetch_or(SOCKET_NON_BLOCKING, std::memory_order_relaxed);
    } else {
        record->flags.fetch_and(~SOCKET_NON_BLOCKING, std::memory_order_relaxed);
    }
}

SOCKETINFO* makeSocketInfo(int socket, int family, int type, int nonBlocking, int protocol,
                           bool withCleanMarks) {
    if (socket == 0) return nullptr;
    preInitializeMemo();
    const SignalBlock signals;  // once for both locks
    SOCKETINFO* const record = claimLiveRecord(socket, withCleanMarks);
    if (record == nullptr) {
        x_disp(TRACE_ERROR, "malloc error in createMemoOpenedSocket");
        return nullptr;
    }
    setFields(record, family, type, nonBlocking, protocol);
    return record;
}

}  // namespace

void preInitializeMemo() {
    // The locks are static and need no creating; the flag may be set by any number of threads at
    // once.
    criticalSectionSocketInfoInitialized.store(1, std::memory_order_relaxed);
}

SOCKETINFO* createSocketInfo(int socket, int family, int type, int nonBlocking, int protocol) {
    return makeSocketInfo(socket, family, type, nonBlocking, protocol, false);
}

SOCKETINFO* registerNewSocket(int socket, int family, int type, int nonBlocking, int protocol) {
    return makeSocketInfo(socket, family, type, nonBlocking, protocol, true);
}

SOCKETINFO* getSocketInfo(int socket) {
    if (socket == 0 || criticalSectionSocketInfoInitialized.load(std::memory_order_relaxed) == 0) {
        return nullptr;
    }
    if (DescriptorTable::covers(socket)) [[likely]]
        return recordsByDescriptor.find(socket);
    if (recordsBesideTable.load(std::memory_order_relaxed) == 0) return nullptr;
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    return findLiveRecord(socket);
}

int freeSocketInfo(int socket) {
    if (socket == 0) return 0;
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    SOCKETINFO* const record = findLiveRecord(socket);
    if (record == nullptr) return 0;
    unlinkLiveRecord(record, socket);
    pushReleasedRecord(record);
    return 1;
}

bool withdrawSocketInfo(SOCKETINFO* record, int socket) {
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    if (findLiveRecord(socket) != record) return false;
    unlinkLiveRecord(record, socket);
    return true;
}

void releaseWithdrawnSocketInfo(SOCKETINFO* record) {
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    clearMarks(record);
    pushReleasedRecord(record);
}

void restoreSocketInfo(SOCKETINFO* record, int socket) {
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    if (findLiveRecord(socket) != nullptr || !pushLiveRecord(record, socket)) {
        clearMarks(record);
        pushReleasedRecord(record);
    }
}

void resetConnectionLocks(bool (*isKept)(const SOCKETINFO* record)) {
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    for (SOCKETINFO* list : {allSocketInfo, releasedSocketInfo}) {
        for (SOCKETINFO* record = list; record != nullptr; record = record->next) {
            if (isKept(record)) continue;
            AllocCriticalSectionBase(&record->connectionLock);
            record->flags.fetch_and(~SOCKET_LOCKED, std::memory_order_relaxed);
        }
    }
}

void cleanSocketInfo() {
    if (criticalSectionSocketInfoInitialized.load(std::memory_order_relaxed) == 0) return;
    const CriticalSectionHold hold(criticalSectionSocketInfoList);
    freeList(releasedSocketInfo);
    freeList(allSocketInfo);
    recordsByDescriptor.clear();
    recordsBesideTable.store(0, std::memory_order_relaxed);
    criticalSectionSocketInfoInitialized.store(0, std::memory_order_relaxed);
}

void InitializeLists() {
    AllocCriticalSectionBase(&criticalSectionLists);
}

void FinalizeLists() {
    FreeCriticalSectionBase(&criticalSectionLists);
}
