#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "recording/ConversationTable.h"
#include "recording/EventClock.h"
#include "report/OutputFile.h"
#include "report/Report.h"

namespace veltra {

// One page for a browser that needs nothing but itself: a time line with a lane for each
// connection. It is written as the recording is read; the browser has to hold all of it.
class PageReport : public Report {
public:
    // More of a message's bytes is not put on the page, which says so.
    static constexpr std::size_t mostShownBytes = std::size_t{64} << 10U;

    // Throws as OutputFile::write() does.
    PageReport(OutputFile& output, const std::string& title);

    void add(const RecordedLine& line) override;
    void finish() override;

private:
    struct Nothing {};

    OutputFile& output_;
    ConversationTable<Nothing> conversations_;
    EventClock clock_;
    std::optional<std::int64_t> start_;
    std::int64_t latest_ = 0;  // nanoseconds since the start, for events that carry no time
    std::uint64_t damagedLines_ = 0;
};

}  // namespace veltra
