#include "report/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

namespace veltra {

namespace {

constexpr const char* usage =
    "Usage: veltra-report summary|text|json|pcap|html [-o FILE] RECORDING...";

constexpr const char* footer =
    "Reports:\n"
    "  summary  a table: a row for each connection, and totals\n"
    "  text     a line for people for each message\n"
    "  json     a JSON object for each message, one a line\n"
    "  pcap     a capture file that packet analysers open, with made-up packets\n"
    "  html     one page with a time line, to be opened in a browser\n"
    "\n"
    "RECORDING is a file that veltra-record wrote, or - for standard input. Damaged lines are "
    "named\n"
    "on standard error, and reading goes on.\n"
    "\n"
    "The exit status is 0 if all is well, 2 if lines were damaged, and 1 if something could not "
    "be\n"
    "read or written.";

struct KindName {
    const char* name;
    ReportKind kind;
};

constexpr KindName kindNames[] = {
    {"summary", ReportKind::summary}, {"text", ReportKind::text}, {"json", ReportKind::json},
    {"pcap", ReportKind::capture},    {"html", ReportKind::page},
};

class UsageFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
        return usage + std::string("\n");
    }
};

ReportKind kindOf(const std::string& word) {
    const auto* const found = std::ranges::find(kindNames, word, &KindName::name);
    if (found == std::end(kindNames)) {
        throw CLI::ValidationError("there is no report \"" + word + '"', 1);
    }
    return found->kind;
}

// Sorts out what the parser left alone. The recordings are not declared to it as an option of many
// values because it would rewrite some of them, such as "[a,b]".
void takeWords(std::vector<std::string> words, ReportCommandLine& commandLine) {
    const auto marker = std::ranges::find(words, "--");
    const auto option = std::find_if(words.begin(), marker, [](const std::string& word) {
        return word.size() > 1 && word.starts_with('-');
    });
    if (option != marker) throw CLI::ExtrasError({*option});
    if (marker != words.end()) words.erase(marker);
    if (words.empty()) throw CLI::RequiredError("a report");
    commandLine.kind = kindOf(words.front());
    words.erase(words.begin());
    if (words.empty()) throw CLI::RequiredError("RECORDING");
    commandLine.recordings = std::move(words);
}

}  // namespace

std::optional<ReportCommandLine> readReportCommandLine(int argc, const char* const* argv) {
    ReportCommandLine commandLine;
    CLI::App app("Shows what veltra-record recorded.", "veltra-report");
    app.formatter(std::make_shared<UsageFormatter>());
    app.allow_extras();
    app.set_version_flag("--version", "veltra-report " VELTRA_VERSION,
                         "Print the version and exit");
    app.add_option("-o,--output", commandLine.outputFile,
                   "Write the report to FILE instead of standard output")
        ->type_name("FILE");
    app.footer(footer);
    try {
        app.parse(argc, argv);
        takeWords(app.remaining(), commandLine);
    } catch (const CLI::Success& request) {
        app.exit(request);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw std::runtime_error(error.what() + std::string("\n") + usage +
                                 "\nRun with --help for more information.");
    }
    return commandLine;
}

}  // namespace veltra
