#include "record/CommandLine.h"

#include <sys/socket.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>

#include "record/Failure.h"

namespace veltra {

namespace {

constexpr const char* usage = "Usage: veltra-record [OPTION]... [--] COMMAND [ARG]...";
constexpr int longestSocksTimeout = 86400;
constexpr int allTraceKinds = 1023;

class UsageFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
        return usage + std::string("\n");
    }

    // What its value is, without what goes together with it: that is for the manual.
    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_type_size() == 0 ? "" : " " + option->get_type_name();
    }
};

// Texts that become something else once all of the arguments are read.
struct Texts {
    std::string format = "lines";
    std::optional<std::string> recorder;
    std::optional<std::string> socks;
    std::optional<std::string> socks6;
    std::optional<std::string> traceFolder;
};

void addRecordingOptions(CLI::App& app, CommandLine& commandLine, Texts& texts) {
    CLI::Option* const output = app.add_option("-o,--output", commandLine.recordingFile,
                                               "Write the recording to FILE, '-' being standard\n"
                                               "output; to standard error if not given. In FILE,\n"
                                               "%p is the command's process id, %n its name, and\n"
                                               "%% a percent sign")
                                    ->type_name("FILE");
    CLI::Option* const format =
        app.add_option("--format", texts.format,
                       "How to write it: 'lines' as received, which is the\n"
                       "default and what veltra-report reads, 'json' with\n"
                       "one object a line, or 'text' for people")
            ->type_name("FORMAT")
            ->check(CLI::IsMember({"lines", "json", "text"}).description(""));
    CLI::Option* const summary = app.add_flag("--summary", commandLine.summary,
                                              "Print a table of the connections to standard error\n"
                                              "in the end");
    app.add_option("--recorder", texts.recorder,
                   "Leave the recording to this recorder, which must\n"
                   "have an IPv4 address, and write none")
        ->type_name("HOST:PORT")
        ->excludes(output)
        ->excludes(format)
        ->excludes(summary);
}

void addAgentOptions(CLI::App& app, AgentWishes& agent, Texts& texts) {
    app.add_option("--socks", texts.socks,
                   "Reroute TCP connections to IPv4 addresses through\n"
                   "this SOCKS 5 server")
        ->type_name("HOST:PORT");
    app.add_option("--socks6", texts.socks6,
                   "Reroute TCP connections to IPv6 addresses through\n"
                   "this SOCKS 5 server")
        ->type_name("HOST:PORT");
    app.add_option("--socks-timeout", agent.socksTimeout,
                   "How long to wait for a SOCKS server; 10 normally")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, longestSocksTimeout).description(""));
    app.add_flag("--double-log", agent.recordRerouted,
                 "Record the data of rerouted connections too");
    CLI::Option* const folder = app.add_option("--trace-dir", texts.traceFolder,
                                               "Write the agent's own traces to DIR, one file for\n"
                                               "each process")
                                    ->type_name("DIR");
    app.add_option("--trace", agent.traceKinds,
                   "Which kinds of traces to write, as a sum:\n"
                   "1 errors, 2 information, 8 calls, 16 results,\n"
                   "32 failures, 64 data; all of them normally")
        ->type_name("MASK")
        ->check(CLI::Range(1, allTraceKinds).description(""))
        ->needs(folder);
    app.add_flag("--traceback", agent.traceback,
                 "Let a segmentation fault print the call stack and\n"
                 "end the command with status 0");
}

void addOtherOptions(CLI::App& app, CommandLine& commandLine) {
    app.add_flag("--force", commandLine.force, "Run the command also when it cannot be recorded");
    CLI::Option* const quiet =
        app.add_flag("-q,--quiet", commandLine.quiet, "Say nothing but errors");
    app.add_flag("-v,--verbose", commandLine.verbose,
                 "Tell which libraries were found and which\n"
                 "variables are set")
        ->excludes(quiet);
    app.set_version_flag("--version", "veltra-record " VELTRA_VERSION,
                         "Print the version and exit");
}

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

std::optional<ServerAddress> serverIfNamed(const std::optional<std::string>& hostAndPort,
                                           int family) {
    if (!hostAndPort) return std::nullopt;
    return findServer(*hostAndPort, family);
}

void interpret(const Texts& texts, CommandLine& commandLine) {
    if (texts.format == "json") commandLine.format = RecordingFormat::json;
    if (texts.format == "text") commandLine.format = RecordingFormat::text;
    commandLine.recorder = serverIfNamed(texts.recorder, AF_INET);
    commandLine.agent.socks = serverIfNamed(texts.socks, AF_INET);
    commandLine.agent.socks6 = serverIfNamed(texts.socks6, AF_INET6);
    if (!texts.traceFolder) return;
    // The command may change its working directory before the agent creates the file.
    commandLine.agent.traceFolder = std::filesystem::absolute(*texts.traceFolder).string();
    if (!commandLine.agent.traceKinds) commandLine.agent.traceKinds = allTraceKinds;
}

void printRequested(const CLI::App& app, const CLI::Success& request) {
    app.exit(request);
    if (std::cout.flush()) return;
    throw Failure(exitStatusFailure, "cannot write to standard output");
}

}  // namespace

std::optional<CommandLine> readCommandLine(int argc, const char* const* argv) {
    CommandLine commandLine;
    Texts texts;
    CLI::App app("Runs COMMAND and records what its sockets do, one message per line.",
                 "veltra-record");
    app.formatter(std::make_shared<UsageFormatter>());
    app.prefix_command();
    addRecordingOptions(app, commandLine, texts);
    addAgentOptions(app, commandLine.agent, texts);
    addOtherOptions(app, commandLine);
    app.footer(
        "The exit status is that of COMMAND, or 128 and the number of the signal that\n"
        "ended it. It is 127 if COMMAND is not found, 126 if it cannot be run or\n"
        "recorded, and 1 for other failures.");
    try {
        app.parse(argc, argv);
        commandLine.command = commandOf(app);
    } catch (const CLI::Success& request) {
        printRequested(app, request);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw Failure(exitStatusFailure, error.what() + std::string("\n") + usage +
                                             "\nRun with --help for more information.");
    }
    interpret(texts, commandLine);
    return commandLine;
}

}  // namespace veltra
