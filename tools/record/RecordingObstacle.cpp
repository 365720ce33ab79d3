#include "record/RecordingObstacle.h"

#include <fcntl.h>

#include "record/ElfProgram.h"
#include "record/ProgramPrivileges.h"
#include "record/ScriptInterpreter.h"
#include "recorder/FileDescriptor.h"

namespace veltra {

namespace {

// How many scripts may be run by one another before the system refuses.
constexpr int deepestNesting = 5;

}  // namespace

std::optional<std::string> recordingObstacle(const std::string& path, const char* searchPath) {
    std::string program = path;
    for (int depth = 0; depth <= deepestNesting; ++depth) {
        std::string subject = program;
        if (depth != 0) subject.append(", which runs ").append(path).append(",");
        const FileDescriptor file(
            ::open(program.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
        const auto interpreter = scriptInterpreter(file.number(), searchPath);
        if (!interpreter) {
            auto obstacle = linkageObstacle(file.number());
            if (!obstacle) obstacle = privilegeObstacle(program);
            if (!obstacle) return std::nullopt;
            return subject.append(" ").append(*obstacle);
        }
        program = *interpreter;
    }
    return std::nullopt;
}

}  // namespace veltra
