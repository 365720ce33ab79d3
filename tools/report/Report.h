#pragma once

#include <memory>
#include <string>
#include <vector>

#include "recording/RecordingReader.h"
#include "report/CommandLine.h"
#include "report/OutputFile.h"

namespace veltra {

// A report in the making. Both functions throw std::runtime_error when the output cannot be
// written.
class Report {
public:
    virtual ~Report() = default;

    // Takes the next line, damaged or not.
    virtual void add(const RecordedLine& line) = 0;

    // Writes what comes at the end. The output is not finished by it.
    virtual void finish() = 0;
};

// Makes a report of one kind that is written to `output`, which has to outlive it. `title` says in
// words what is reported.
std::unique_ptr<Report> makeReport(ReportKind kind, OutputFile& output, const std::string& title);

}  // namespace veltra
