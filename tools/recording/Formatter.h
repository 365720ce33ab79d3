#pragma once

#include <memory>
#include <string>

#include "recording/RecordingReader.h"

namespace veltra {

// The ways to write a recording line by line.
enum class RecordingFormat {
    lines,  // exactly as received, each with a newline
    json,   // one JSON object a line
    text,   // one line for people each
};

// Writes a recording in one format, line after line. A formatter keeps what it knows of the lines
// before, at most something for each open connection. Use one for a whole recording.
class Formatter {
public:
    virtual ~Formatter() = default;

    // Appends to `output` what is to be written for the line, newline included. A damaged line is
    // written too: as it is, as an object of kind "damaged", respectively with what is wrong with
    // it.
    virtual void append(const RecordedLine& line, std::string& output) = 0;
};

// Makes a formatter for a new recording.
std::unique_ptr<Formatter> makeFormatter(RecordingFormat format);

}  // namespace veltra
