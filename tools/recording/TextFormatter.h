#pragma once

#include <cstdint>
#include <optional>

#include "recording/ConversationTable.h"
#include "recording/EventClock.h"
#include "recording/Formatter.h"

namespace veltra {

// One line for people each: seconds since the first event that has a time, process, socket, an
// arrow, the peer, the number of bytes, and the first bytes or what happened. Never anything that a
// terminal would take for a command.
class TextFormatter : public Formatter {
public:
    void append(const RecordedLine& line, std::string& output) override;

private:
    struct Nothing {};

    std::string timeColumn(const Event& event);

    ConversationTable<Nothing> conversations_;
    EventClock clock_;
    std::optional<std::int64_t> start_;
};

}  // namespace veltra
