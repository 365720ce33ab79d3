#include "record/RecordedRun.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>

#include "record/AgentLibrary.h"
#include "record/CommandEnvironment.h"
#include "record/CommandProcess.h"
#include "record/Failure.h"
#include "record/LauncherSignals.h"
#include "record/LiveLine.h"
#include "record/Output.h"
#include "record/ProgramSearch.h"
#include "record/Recording.h"
#include "record/RecordingName.h"
#include "record/RecordingObstacle.h"
#include "record/report.h"
#include "recorder/Recorder.h"

namespace veltra {

namespace {

// How long a reader may leave the launcher waiting once somebody wants it to end.
constexpr std::chrono::milliseconds readerPatience{1000};

const char* variable(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing in the launcher changes the environment.
    return std::getenv(name);
}

void insistOnRecording(const CommandLine& commandLine, const std::string& program) {
    auto obstacle = recordingObstacle(program, variable("PATH"));
    if (!obstacle && variable("VELTRA_SOCKET_AGENT_UNPLUG_AGENT") != nullptr) {
        obstacle = "VELTRA_SOCKET_AGENT_UNPLUG_AGENT is set";
    }
    if (!obstacle) return;
    if (!commandLine.force) {
        throw Failure(exitStatusCannotExecute,
                      *obstacle + ", so nothing would be recorded (--force runs it all the same)");
    }
    if (!commandLine.quiet) report(*obstacle + ", so nothing is recorded");
}

// One command and its recording.
class RecordedRun {
public:
    RecordedRun(const CommandLine& commandLine, std::span<char* const> arguments)
        : commandLine_(commandLine),
          libraries_(findAgentLibraries(launcherPath())),
          program_(findProgram(commandLine.command.front(), variable("PATH"))),
          signals_(arguments),
          recording_(commandLine.format, commandLine.summary) {
        if (const char* const other = variable("VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH")) {
            libraries_.core = other;
        }
    }

    int run() {
        insistOnRecording(commandLine_, program_);
        if (!commandLine_.recorder) {
            recorder_ = std::make_unique<Recorder>(
                [this](std::string_view message) { recording_.take(message); });
        }
        const auto environment = recordedEnvironment(
            environ, libraries_.agent,
            agentSettings(recorderAddress(), libraries_.core, commandLine_.agent));
        CommandProcess command(program_, commandLine_.command, environment, signals_);
        openRecording(command.id());
        if (commandLine_.verbose) tell(environment, command.id());
        start(command);
        const int exitStatus = shellExitStatus(signals_.waitForEnd(command.id()));
        return finish(exitStatus);
    }

private:
    ServerAddress recorderAddress() const {
        return commandLine_.recorder.value_or(
            ServerAddress{"127.0.0.1", recorder_ ? recorder_->port() : std::uint16_t{0}});
    }

    // The last of what may fail before the command runs, so that a mistyped command does not cost
    // an earlier recording.
    void openRecording(pid_t command) {
        if (!recorder_) return;
        auto file = commandLine_.recordingFile;
        if (file) file = recordingName(*file, program_, command);
        recording_.open(file);
    }

    void tell(const std::vector<std::string>& environment, pid_t command) const {
        report("program " + program_ + ", process " + std::to_string(command));
        report("agent " + libraries_.agent);
        report("recorder core " + (libraries_.core.empty() ? "not found" : libraries_.core));
        const ServerAddress recorder = recorderAddress();
        report("recorder " + recorder.address + ":" + std::to_string(recorder.port));
        if (recorder_) report("recording to " + recording_.writer().name());
        for (const std::string& text : environment) {
            if (text.starts_with("LD_PRELOAD=") || text.starts_with("VELTRA_SOCKET_AGENT_")) {
                report(text);
            }
        }
    }

    void start(CommandProcess& command) {
        try {
            signals_.hold();
            command.run();
        } catch (...) {
            signals_.release();
            throw;
        }
        if (recorder_ && recording_.writer().isOnDisk() && !commandLine_.quiet &&
            LiveLine::canBeShown()) {
            liveLine_ = std::make_unique<LiveLine>(
                errors_, [this] { return "recording: " + recording_.counts().text(); });
        }
    }

    int finish(int exitStatus) {
        std::optional<std::string> writeError;
        const bool isFinished = signals_.finish([&] { writeError = endRecording(exitStatus); },
                                                [this] { return isStuck(); });
        if (!isFinished) giveUp(exitStatus);
        return writeError ? failed(exitStatus) : exitStatus;
    }

    std::optional<std::string> endRecording(int exitStatus) {
        const bool saysMore = liveLine_ != nullptr || commandLine_.verbose;
        liveLine_.reset();
        if (!recorder_) return std::nullopt;
        recorder_->stop();
        auto writeError = recording_.finish();
        if (commandLine_.summary) {
            std::string table;
            recording_.appendSummary(table);
            errors_.write(table);
        }
        if (writeError) {
            errors_.write(reportLine(*writeError));
        } else if (saysMore) {
            errors_.write(
                reportLine(recording_.counts().text() + " in " + recording_.writer().name()));
        }
        if (commandLine_.verbose) {
            errors_.write(reportLine("exit status " + std::to_string(exitStatus)));
        }
        return writeError;
    }

    bool isStuck() const {
        const bool recordingIsStuck = recorder_ && recording_.writer().waiting() >= readerPatience;
        return recordingIsStuck || errors_.waiting() >= readerPatience;
    }

    [[noreturn]] void giveUp(int exitStatus) {
        pollfd standardError{STDERR_FILENO, POLLOUT, 0};
        if (errors_.waiting().count() == 0 && ::poll(&standardError, 1, 0) == 1 &&
            (standardError.revents & POLLOUT) != 0) {
            errors_.write(reportLine("cannot write the whole recording to " +
                                     recording_.writer().name() + ": nobody reads it"));
        }
        // Nothing but the end of the process ends the write.
        ::_exit(failed(exitStatus));
    }

    static int failed(int exitStatus) { return exitStatus != 0 ? exitStatus : exitStatusFailure; }

    const CommandLine& commandLine_;
    AgentLibraries libraries_;
    const std::string program_;
    LauncherSignals signals_;
    Recording recording_;
    std::unique_ptr<Recorder> recorder_;  // none: somebody else's is used
    Output errors_{STDERR_FILENO};
    std::unique_ptr<LiveLine> liveLine_;
};

}  // namespace

int runAndRecord(const CommandLine& commandLine, std::span<char* const> arguments) {
    return RecordedRun(commandLine, arguments).run();
}

}  // namespace veltra
