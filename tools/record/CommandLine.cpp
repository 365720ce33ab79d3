#include "record/CommandLine.h"

#include <CLI/CLI.hpp>

#include "record/Failure.h"

namespace veltra {

namespace {

constexpr const char* usage = "Usage: veltra-record [-o FILE] [--] COMMAND [ARG]...";

class UsageFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
        return usage + std::string("\n");
    }
};

// What the parser left alone, from the first word on that is no option of the launcher. The command
// is not declared to the parser as an option of many values because it would rewrite some of them,
// such as "[a,b]".
std::vector<std::string> commandOf(const CLI::App& app) {
    std::vector<std::string> words = app.remaining();
    if (!words.empty() && words.front() == "--") {
        words.erase(words.begin());
    } else if (!words.empty() && words.front().starts_with('-')) {
        throw CLI::ExtrasError({words.front()});
    }
    if (words.empty()) throw CLI::RequiredError("COMMAND");
    return words;
}

}  // namespace

std::optional<CommandLine> readCommandLine(int argc, const char* const* argv) {
    CommandLine commandLine;
    CLI::App app("Runs COMMAND and records what its sockets do, one message per line.",
                 "veltra-record");
    app.formatter(std::make_shared<UsageFormatter>());
    app.prefix_command();
    app.set_version_flag("--version", "veltra-record " VELTRA_VERSION,
                         "Print the version and exit");
    app.add_option("-o,--output", commandLine.recordingFile,
                   "Write the recording to FILE instead of standard error")
        ->type_name("FILE");
    app.footer(
        "The exit status is that of COMMAND, or 128 and the number of the signal that ended it.\n"
        "It is 127 if COMMAND is not found, 126 if it cannot be run, and 1 for other failures.");
    try {
        app.parse(argc, argv);
        commandLine.command = commandOf(app);
    } catch (const CLI::Success& request) {
        app.exit(request);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw Failure(exitStatusFailure, error.what() + std::string("\n") + usage +
                                             "\nRun with --help for more information.");
    }
    return commandLine;
}

}  // namespace veltra
