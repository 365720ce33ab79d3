#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "recording/LineParser.h"

namespace veltra {

// A line of a recording and what it says. Everything here is valid during the call only that hands
// it out.
struct RecordedLine {
    std::uint64_t number = 0;        // counts from 1
    std::string_view text;           // as received, without its newline
    const Event* event = nullptr;    // null where the line is damaged
    const Damage* damage = nullptr;  // null where it is not
};

// Cuts bytes into lines, takes each apart and hands it out. Fed by pieces of any size, so that a
// recording of any length needs no more memory than its longest line.
class RecordingReader {
public:
    // A line longer than this is not kept: it counts as damaged, and its text is its beginning.
    static constexpr std::size_t longestLine = std::size_t{256} << 20U;

    // `onLine` is called by feed() and endLine(), once for each line. What it throws passes through
    // these; the reader is of no use afterwards.
    explicit RecordingReader(std::function<void(const RecordedLine&)> onLine,
                             std::size_t lineLimit = longestLine);

    // Takes the next bytes, in as many pieces as the caller likes.
    void feed(std::string_view bytes);

    // Ends the line that has begun, if one has: at the end of a file, or of a message that came
    // without its newline. More may be fed afterwards.
    void endLine();

    // Counts lines from 1 again, as for the next file.
    void restart();

private:
    void keep(std::string_view piece);
    void handOut(std::string_view line);

    const std::function<void(const RecordedLine&)> onLine_;
    const std::size_t lineLimit_;
    std::string begun_;     // the line whose end has not come yet
    bool tooLong_ = false;  // it is longer than what is kept
    std::uint64_t number_ = 0;
    Event event_;
};

}  // namespace veltra
