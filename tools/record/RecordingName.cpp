#include "record/RecordingName.h"

#include <filesystem>

#include "record/Failure.h"

namespace veltra {

namespace {

[[noreturn]] void failToExpand(const std::string& pattern) {
    throw Failure(exitStatusFailure, "'" + pattern +
                                         "': a percent sign in a file name stands before 'p' "
                                         "(process id), 'n' (name) or another percent sign");
}

}  // namespace

std::string recordingName(const std::string& pattern, const std::string& program, pid_t process) {
    std::string name;
    for (auto position = pattern.begin(); position != pattern.end(); ++position) {
        if (*position != '%') {
            name += *position;
            continue;
        }
        if (++position == pattern.end()) failToExpand(pattern);
        switch (*position) {
            case 'p':
                name += std::to_string(process);
                break;
            case 'n':
                name += std::filesystem::path(program).filename().string();
                break;
            case '%':
                name += '%';
                break;
            default:
                failToExpand(pattern);
        }
    }
    return name;
}

}  // namespace veltra
