#pragma once

#include <cstdint>
#include <string>

#include "recording/RecordingReader.h"

namespace veltra {

// Names damaged lines on standard error, but not without end: a file that is no recording at all
// has thousands.
class DamageList {
public:
    // How many lines of a recording are named; the others are counted.
    static constexpr std::uint64_t mostNamed = 100;

    // Begins with the next recording.
    void begin(const std::string& recording);

    // Whether tell() would write something.
    bool isFull() const noexcept { return count_ >= mostNamed; }

    // Takes note of the damaged line.
    void tell(const RecordedLine& line);

    // Says how many lines were not named, if any.
    void end();

    // Whether any line of any recording was damaged.
    bool isEmpty() const noexcept { return total_ == 0; }

private:
    std::string recording_;
    std::uint64_t count_ = 0;
    std::uint64_t total_ = 0;
};

}  // namespace veltra
