#pragma once

#include <string>

#include "tools/Shell.h"

namespace veltra::testing {

// Runs a shell command line in which SUBJECT is the reporter, PROBE the program that looks at its
// pages, and the file "recording" has the text.
class ReportRun {
public:
    ReportRun(const std::string& recording, const std::string& script);

    const Outcome& outcome() const { return outcome_; }

    // The content of a file that the script has left.
    std::string file(const std::string& name) const { return contentOf(folder_.path() / name); }

private:
    TemporaryFolder folder_;
    Outcome outcome_;
};

// The recording of a short conversation of two messages, with its begin and end.
extern const char* const shortConversation;

}  // namespace veltra::testing
