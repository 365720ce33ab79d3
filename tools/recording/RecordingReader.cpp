#include "recording/RecordingReader.h"

#include <algorithm>
#include <utility>

namespace veltra {

namespace {

// What a long line had needed is given back, so that one does not cost for ever.
constexpr std::size_t keptCapacity = std::size_t{1} << 20U;

}  // namespace

RecordingReader::RecordingReader(std::function<void(const RecordedLine&)> onLine,
                                 std::size_t lineLimit)
    : onLine_(std::move(onLine)), lineLimit_(lineLimit) {}

void RecordingReader::feed(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        if (end == std::string_view::npos) return keep(bytes);
        if (begun_.empty() && end <= lineLimit_) {
            handOut(bytes.substr(0, end));
        } else {
            keep(bytes.substr(0, end));
            handOut(begun_);
        }
        bytes.remove_prefix(end + 1);
    }
}

void RecordingReader::endLine() {
    if (!begun_.empty()) handOut(begun_);
}

void RecordingReader::restart() {
    number_ = 0;
}

void RecordingReader::keep(std::string_view piece) {
    const std::size_t room = lineLimit_ - begun_.size();
    if (piece.size() > room) tooLong_ = true;
    begun_.append(piece.substr(0, room));
}

void RecordingReader::handOut(std::string_view line) {
    ++number_;
    const auto damage = tooLong_ ? Damage{lineLimit_ + 1, "the line is longer than " +
                                                              std::to_string(lineLimit_) + " bytes"}
                                 : parseLine(line, event_);
    onLine_({number_, line, damage ? nullptr : &event_, damage ? &*damage : nullptr});
    tooLong_ = false;
    begun_.clear();
    if (begun_.capacity() > keptCapacity) {
        begun_.shrink_to_fit();
        event_ = Event();
    }
}

}  // namespace veltra
