#include <exception>
#include <iostream>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include "record/StandardStreams.h"
#include "recording/RecordingReader.h"
#include "report/CommandLine.h"
#include "report/DamageList.h"
#include "report/OutputFile.h"
#include "report/Progress.h"
#include "report/RecordingFiles.h"
#include "report/Report.h"

namespace {

enum ExitStatus : int { allIsWell = 0, failure = 1, damageFound = 2 };

void complain(std::string_view error) {
    std::cerr << "veltra-report: " << error << std::endl;
}

std::string titleOf(const std::vector<std::string>& recordings) {
    std::string title;
    for (const std::string& recording : recordings) {
        if (!title.empty()) title += ", ";
        title += veltra::shownName(recording);
    }
    return title;
}

// Reads all recordings into the report. A recording that cannot be read is complained about and
// left out. Returns the exit status so far.
ExitStatus readInto(veltra::Report& report, const std::vector<std::string>& recordings,
                    veltra::Progress& progress) {
    ExitStatus status = allIsWell;
    veltra::DamageList damages;
    veltra::RecordingReader reader([&](const veltra::RecordedLine& line) {
        if (line.damage != nullptr) {
            if (!damages.isFull()) progress.clear();
            damages.tell(line);
        }
        report.add(line);
    });
    for (const std::string& recording : recordings) {
        damages.begin(recording);
        reader.restart();
        try {
            veltra::readRecording(recording, [&](std::string_view bytes) {
                reader.feed(bytes);
                progress.advance(bytes.size());
            });
        } catch (const std::system_error& error) {
            progress.clear();
            complain(error.what());
            status = failure;
        }
        reader.endLine();
        damages.end();
    }
    return status == allIsWell && !damages.isEmpty() ? damageFound : status;
}

ExitStatus makeReport(const veltra::ReportCommandLine& commandLine) {
    using namespace veltra;
    if (isOneOf(commandLine.recordings, commandLine.outputFile)) {
        throw std::runtime_error(commandLine.outputFile.value_or("standard output") +
                                 " is a recording to be read; write to another file");
    }
    OutputFile output(commandLine.outputFile);
    if (commandLine.kind == ReportKind::capture && output.isTerminal()) {
        throw std::runtime_error("a capture file is nothing for a terminal; name a file with -o");
    }
    const auto report = makeReport(commandLine.kind, output, titleOf(commandLine.recordings));
    Progress progress(totalSize(commandLine.recordings), !output.isTerminal());
    const ExitStatus status = readInto(*report, commandLine.recordings, progress);
    progress.clear();
    report->finish();
    output.finish();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        veltra::reserveStandardStreams();
        const auto commandLine = veltra::readReportCommandLine(argc, argv);
        return commandLine ? makeReport(*commandLine) : allIsWell;
    } catch (const std::exception& error) {
        complain(error.what());
        return failure;
    }
}
