#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recording/ConversationTable.h"
#include "recording/EventClock.h"
#include "recording/RecordingReader.h"

namespace veltra {

// Counts what a recording tells, connection by connection. Grows with the number of connections
// only.
class Summary {
public:
    // Messages and bytes in one direction.
    struct Traffic {
        std::uint64_t messages = 0;
        std::uint64_t bytes = 0;
    };

    // A connection, or an attempt at one.
    struct Row {
        Conversation conversation;
        std::optional<std::int64_t> begin;  // nanoseconds since 1970; nothing: not known
        std::optional<std::int64_t> end;    // of the last event
        bool isClosed = false;
        Traffic sent;
        Traffic received;
        std::uint64_t errors = 0;
    };

    // Takes the next line of the recording into account.
    void add(const RecordedLine& line);

    // The connections in the order of their appearance.
    const std::vector<Row>& rows() const noexcept { return rows_; }

    // How many lines were damaged, and how many were not.
    std::uint64_t damagedLines() const noexcept { return damagedLines_; }
    std::uint64_t messages() const noexcept { return messages_; }

    // Appends a table: a row for each connection, totals, and the damaged lines if there were any.
    void appendTable(std::string& output) const;

private:
    void count(const Event& event, Row& row) const;

    struct RowIndex {
        std::size_t value = 0;
    };

    ConversationTable<RowIndex> conversations_;
    EventClock clock_;
    std::vector<Row> rows_;
    std::uint64_t messages_ = 0;
    std::uint64_t damagedLines_ = 0;
};

}  // namespace veltra
