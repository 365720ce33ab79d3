#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string_view>

#include "record/AgentLibrary.h"
#include "record/AgentSettings.h"
#include "record/CommandEnvironment.h"
#include "record/CommandLine.h"
#include "record/CommandProcess.h"
#include "record/Failure.h"
#include "record/LauncherSignals.h"
#include "record/MessageWriter.h"
#include "record/ProgramSearch.h"
#include "record/StandardStreams.h"
#include "recorder/Recorder.h"

namespace {

void report(std::string_view error) {
    std::cerr << "veltra-record: " << error << std::endl;
}

// Runs and records the command. Returns the launcher's exit status.
int record(const veltra::CommandLine& commandLine) {
    using namespace veltra;
    const AgentLibraries libraries = findAgentLibraries(launcherPath());
    // NOLINTBEGIN(concurrency-mt-unsafe): there is no other thread yet.
    const char* const searchPath = std::getenv("PATH");
    const char* const otherCore = std::getenv("VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH");
    // NOLINTEND(concurrency-mt-unsafe)
    const std::string core = otherCore != nullptr ? otherCore : libraries.core;
    const std::string program = findProgram(commandLine.command.front(), searchPath);
    // The last of the checks, so that a mistyped command does not cost an earlier recording.
    MessageWriter recording(commandLine.recordingFile);

    const LauncherSignals signals;
    Recorder recorder([&recording](std::string_view message) { recording.write(message); });
    const pid_t command =
        startCommand(program, commandLine.command,
                     recordedEnvironment(environ, libraries.agent,
                                         agentSettings({"127.0.0.1", recorder.port()}, core)),
                     signals);
    const int exitStatus = shellExitStatus(signals.waitForEnd(command));
    recorder.stop();

    const auto writeError = recording.finish();
    if (!writeError) return exitStatus;
    report(*writeError);
    return exitStatus != 0 ? exitStatus : exitStatusFailure;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        veltra::reserveStandardStreams();
        const auto commandLine = veltra::readCommandLine(argc, argv);
        return commandLine ? record(*commandLine) : 0;
    } catch (const veltra::Failure& failure) {
        report(failure.what());
        return failure.exitStatus();
    } catch (const std::exception& error) {
        report(error.what());
        return veltra::exitStatusFailure;
    }
}
