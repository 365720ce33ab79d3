#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "recording/Event.h"

namespace veltra {

// Tells when events happened as exactly as they say it. The recorder core's nanoseconds have an
// epoch of their own: the first event of a process that has both stamps tells which.
class EventClock {
public:
    // Nanoseconds since 1970, or nothing where the event carries no time, or none that can be
    // placed yet.
    std::optional<std::int64_t> timeOf(const Event& event);

private:
    std::map<std::int64_t, std::int64_t> offsets_;  // by process; 0: events that name none
};

}  // namespace veltra
