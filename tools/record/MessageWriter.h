#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "record/Output.h"
#include "recorder/FileDescriptor.h"

namespace veltra {

// Writes a recording, each text on a line of its own.
class MessageWriter {
public:
    // Writes to a new or emptied file, to standard output if its name is "-", or to standard error
    // if there is none. Throws Failure when the file cannot be opened.
    explicit MessageWriter(const std::optional<std::string>& file);

    // Writes the text, and a newline if it has none at its end. After the first write that failed
    // nothing more is written, so that what there is has no gaps.
    void write(std::string_view text);

    // Ends the recording. Returns in words what went wrong in writing it, if anything did.
    std::optional<std::string> finish();

    // For how long the reader has been keeping a write waiting. May be called by any thread.
    std::chrono::milliseconds waiting() const noexcept { return output_.waiting(); }

    // Whether the recording goes to a file on a disk, rather than to a terminal or another program.
    bool isOnDisk() const;

    // Where the recording goes, in words.
    const std::string& name() const noexcept { return name_; }

private:
    FileDescriptor file_;
    Output output_;
    std::string name_;
    int error_ = 0;
};

}  // namespace veltra
