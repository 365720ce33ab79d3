#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "recorder/FileDescriptor.h"

namespace veltra {

// Writes a recording: every message as it was received, each on a line of its own.
class MessageWriter {
public:
    // Writes to a new or emptied file, or to standard error if there is none.
    // Throws Failure when the file cannot be opened.
    explicit MessageWriter(const std::optional<std::string>& file);

    // Writes the message, and a newline if it has none at its end. After the first write that
    // failed nothing more is written, so that what there is has no gaps.
    void write(std::string_view message);

    // Ends the recording. Returns in words what went wrong in writing it, if anything did.
    std::optional<std::string> finish();

private:
    FileDescriptor file_;
    int output_;
    std::string name_;
    int error_ = 0;
};

}  // namespace veltra
