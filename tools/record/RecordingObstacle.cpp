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
        const std::string subject = depth == 0 ? program : program + ", which runs " + path + ",";
        const FileDescriptor file(::open(program.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
        const auto interpreter = scriptInterpreter(file.number(), searchPath);
        if (!interpreter) {
            auto obstacle = linkageObstacle(file.number());
            if (!obstacle) obstacle = privilegeObstacle(program);
            return obstacle ? std::optional(subject + " " + *obstacle) : std::nullopt;
        }
        program = *interpreter;
    }
    return std::nullopt;
}

}  // namespace veltra
