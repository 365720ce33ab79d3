#pragma once

#include "base/Counter.h"
#include "base/utils.h"
#include "recording/AgentInterface.h"
#include "recording/RecorderMessage.h"

// Both clocks at one moment.
struct TimeStamps {
    long long milliseconds = getTimeStamp();
    long long nanoseconds = getTimeStampNs();
};

// The numbers that a call draws at its entry. Every call draws them, recorded or not; the clocks
// are read only where a value is used.
struct CallNumbers {
    long long ticket = getTicket();
    int callNumber = getGlobalCpt();
};

inline int ticketValue(const CallNumbers& numbers) {
    return static_cast<int>(numbers.ticket);
}

// The low half of an address, as traces show pointers.
inline unsigned shortAddress(const void* pointer) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pointer));
}

// A descriptor as traces show it: "%lx", sign-extended.
inline unsigned long shownSocket(int fd) {
    return static_cast<unsigned long>(fd);
}
