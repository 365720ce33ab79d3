#pragma once

#include "hooks/hookStamps.h"

// What a host look-up takes at its entry: all its messages carry the same stamps, ticket and
// number.
struct LookUp {
    TimeStamps start;
    CallNumbers numbers;
};

// The attributes that every "addrinfo" message begins with.
inline void setLookUpHeader(RecorderMessage& message, const LookUp& lookUp) {
    setTimeStampNs(message, lookUp.start.nanoseconds);
    message.set(RecorderMessageAttribute::timestamp, lookUp.start.milliseconds);
    message.setInt(RecorderMessageAttribute::ticket, ticketValue(lookUp.numbers));
}
