#include <exception>
#include <span>

#include "record/CommandLine.h"
#include "record/Failure.h"
#include "record/RecordedRun.h"
#include "record/StandardStreams.h"
#include "record/report.h"

int main(int argc, char** argv) {
    using namespace veltra;
    try {
        reserveStandardStreams();
        const auto commandLine = readCommandLine(argc, argv);
        if (!commandLine) return 0;
        return runAndRecord(*commandLine, {argv, static_cast<std::size_t>(argc)});
    } catch (const Failure& failure) {
        report(failure.what());
        return failure.exitStatus();
    } catch (const std::exception& error) {
        report(error.what());
        return exitStatusFailure;
    }
}
