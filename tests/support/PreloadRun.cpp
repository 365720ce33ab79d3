#include "support/PreloadRun.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <system_error>

#include "recorder/Recorder.h"
#include "support/Normaliser.h"
#include "support/TraceLog.h"
#include "tools/TemporaryFolder.h"

namespace veltra::testing {

namespace {

namespace fs = std::filesystem;

using Environment = std::map<std::string, std::string>;

constexpr std::chrono::seconds longestRun{60};

// The coarse clock of the agent may lag a tick behind.
constexpr std::int64_t clockTick = 20;

std::int64_t millisecondsNow() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

// Waits for the process, but ends it when it takes too long. Returns its exit status or the
// negative number of its signal.
int waitFor(pid_t process) {
    const int handle = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    pollfd ended{handle, POLLIN, 0};
    const auto patience = std::chrono::milliseconds(longestRun).count();
    if (handle != -1 && ::poll(&ended, 1, static_cast<int>(patience)) == 0) {
        ADD_FAILURE() << "the probe does not end";
        ::kill(process, SIGKILL);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    ::close(handle);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Runs the program in the folder, with no descriptors but the standard ones, which are /dev/null
// and two files of the folder `streams`.
int runProgram(const ProbeSettings& settings, const Environment& environment,
               const fs::path& folder, const fs::path& streams) {
    std::vector<std::string> arguments = {settings.program};
    arguments.insert(arguments.end(), settings.arguments.begin(), settings.arguments.end());
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment)
        variables.push_back(name + "=" + value);

    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, 1, (streams / "output").c_str(), flags, 0600);
    ::posix_spawn_file_actions_addopen(&actions, 2, (streams / "errors").c_str(), flags, 0600);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    pid_t process = -1;
    const int error = ::posix_spawn(&process, settings.program.c_str(), &actions, nullptr,
                                    pointersTo(arguments).data(), pointersTo(variables).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::system_error(error, std::generic_category(), settings.program);
    return waitFor(process);
}

// A sanitizer's run-time library has to come before everything that was built for it. The libraries
// are empty in other builds.
void preload(Environment& environment, const std::string& library) {
    if (library.empty()) return;
    std::string& list = environment["LD_PRELOAD"];
    if (list.empty()) list = VELTRA_SANITIZER_LIBRARIES;
    list += (list.empty() ? "" : ":") + library;
}

Environment ownEnvironment(const ProbeSettings& settings) {
    Environment environment = settings.environment;
    for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (const char* const value = std::getenv(name)) environment[name] = value;
    }
    return environment;
}

std::vector<std::string> readTrace(const fs::path& folder) {
    if (!fs::exists(folder)) return {};
    std::string text;
    for (const auto& file : fs::directory_iterator(folder))
        text += contentOf(file);
    return linesOf(text);
}

struct RawRun {
    int exitStatus;
    std::vector<std::string> output;
    std::string errors;
};

RawRun runIn(const TemporaryFolder& folder, const ProbeSettings& settings,
             const Environment& environment) {
    const TemporaryFolder streams;
    const int status = runProgram(settings, environment, folder.path(), streams.path());
    return {status, linesOf(contentOf(streams.path() / "output")),
            contentOf(streams.path() / "errors")};
}

}  // namespace

ProbeOutcome runWithAgent(const ProbeSettings& settings) {
    const TemporaryFolder folder;
    const std::string agent =
        settings.agentLibrary.empty() ? VELTRA_AGENT_LIBRARY : settings.agentLibrary;
    std::vector<std::string> received;
    Recorder recorder([&](std::string_view message) { received.emplace_back(message); });
    const std::uint16_t port = settings.recorderPort.value_or(recorder.port());

    Environment environment = ownEnvironment(settings);
    preload(environment, agent);
    preload(environment, settings.nextLibrary);
    if (!settings.recorderIsDefault) {
        environment["VELTRA_SOCKET_AGENT_IP_ADDRESS"] = "127.0.0.1";
        environment["VELTRA_SOCKET_AGENT_PORT_NUMBER"] = std::to_string(port);
    }
    if (settings.traceLevel != 0) {
        environment["VELTRA_SOCKET_AGENT_DEBUG_LVL"] = std::to_string(settings.traceLevel);
        environment["VELTRA_SOCKET_AGENT_DEBUG_DIR"] = folder.path() / "trace";
    }

    const std::int64_t begin = millisecondsNow() - clockTick;
    RawRun run = runIn(folder, settings, environment);
    recorder.stop();

    Normaliser normaliser(run.output);
    normaliser.setLifetime(begin, millisecondsNow());
    normaliser.addPort("RECORDER", port);
    normaliser.addText(folder.path(), "FOLDER");
    normaliser.addText(fs::path(agent).parent_path(), "AGENT");
    ProbeOutcome outcome{run.exitStatus, run.output, run.errors, {}, {}};
    for (const std::string& message : received) {
        outcome.messages.push_back(normaliser.message(message));
    }
    for (const std::string& line : readTrace(folder.path() / "trace")) {
        outcome.trace.push_back(normaliser.traceLine(line));
    }
    return outcome;
}

ProbeOutcome runBare(const ProbeSettings& settings) {
    const TemporaryFolder folder;
    Environment environment = ownEnvironment(settings);
    preload(environment, settings.nextLibrary);
    RawRun run = runIn(folder, settings, environment);
    const Normaliser normaliser(run.output);
    return {run.exitStatus, run.output, run.errors, {}, {}};
}

ProbeOutcome runProbe(const ProbeSettings& settings) {
    const ProbeOutcome bare = runBare(settings);
    ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(bare.exitStatus, 0) << bare.errors;
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output, bare.output);
    return outcome;
}

}  // namespace veltra::testing
