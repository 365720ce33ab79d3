#pragma once

#include <optional>
#include <string>
#include <vector>

namespace veltra {

enum class ReportKind { summary, text, json, capture, page };

// What the user asked the reporter for.
struct ReportCommandLine {
    ReportKind kind{};
    std::optional<std::string> outputFile;  // none: standard output
    std::vector<std::string> recordings;    // never empty; "-": standard input
};

// Reads the reporter's arguments. Nothing is returned when the user only asked for help or the
// version, which is then printed on standard output.
// Throws std::runtime_error, with the usage in its text, when the arguments make no sense.
std::optional<ReportCommandLine> readReportCommandLine(int argc, const char* const* argv);

}  // namespace veltra
