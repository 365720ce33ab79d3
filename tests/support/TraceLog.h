#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/TemporaryFolder.h"

namespace veltra::testing {

// Switches the agent's traces on, into a log file of the test's own, until the object goes. To be
// made and destroyed while no other thread traces.
class TraceLog {
public:
    // `level` is the bit mask of the enabled kinds.
    explicit TraceLog(int level = 1023);
    ~TraceLog();
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    // What has been traced since the last take, each line without its newline. The file's header
    // line is left out. A line that does not end in a newline fails the test.
    std::vector<std::string> takeLines();

    // The same as one text, with the newlines.
    std::string takeText();

    const std::filesystem::path& file() const { return file_; }

private:
    TemporaryFolder folder_;
    std::filesystem::path file_;
    std::int32_t levelBefore_;
    std::size_t taken_ = 0;
};

// The lines of a text, without their newlines. A last line without a newline fails the test.
std::vector<std::string> linesOf(const std::string& text);

}  // namespace veltra::testing
