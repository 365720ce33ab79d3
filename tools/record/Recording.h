#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "record/Counts.h"
#include "record/MessageWriter.h"
#include "recording/Formatter.h"
#include "recording/RecordingReader.h"
#include "recording/Summary.h"

namespace veltra {

// What becomes of the messages: they are counted, written, and summed up.
class Recording {
public:
    // `summary`: whether appendSummary() will be asked for.
    Recording(RecordingFormat format, bool summary);
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // Where to write to, from now on; messages that come earlier are from strangers and are
    // dropped. See MessageWriter for `file` and for what is thrown. To be called once.
    void open(const std::optional<std::string>& file);

    // Takes one message as it was received. Not for two threads at a time, but beside every other
    // thread.
    void take(std::string_view message);

    // May be called by any thread.
    Counts counts() const;

    // Ends the recording when no message comes any more. Returns in words what went wrong in
    // writing it, if anything did.
    std::optional<std::string> finish();

    // Appends a table of the connections, when the recording is finished.
    void appendSummary(std::string& output) const { summary_.appendTable(output); }

    // What open() opened. Other threads may ask it what it allows.
    const MessageWriter& writer() const { return *writer_; }

private:
    void takeLine(const RecordedLine& line);

    const std::unique_ptr<Formatter> formatter_;  // null: messages are written as they are
    const bool isSummedUp_;
    RecordingReader reader_;
    Summary summary_;
    std::string formatted_;
    std::optional<MessageWriter> writer_;
    std::atomic<bool> isOpen_ = false;  // whether take() may use the writer
    Counts counts_;
    mutable std::mutex mutex_;  // guards the counts
};

}  // namespace veltra
