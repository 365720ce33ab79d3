#include "record/ProgramSearch.h"

#include <fcntl.h>
#include <paths.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <vector>

#include "record/Failure.h"

namespace veltra {

namespace {

// 0, or the error code that says why the file cannot be run.
int executionObstacle(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    return ::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

[[noreturn]] void failNotFound(const std::string& name, const std::string& reason) {
    throw Failure(exitStatusNotFound, name + ": " + reason);
}

[[noreturn]] void failNotExecutable(const std::string& path, int error) {
    throw Failure(exitStatusCannotExecute,
                  "cannot execute " + path + ": " + std::generic_category().message(error));
}

std::string checkedProgram(const std::string& path) {
    const int obstacle = executionObstacle(path);
    if (obstacle == ENOENT || obstacle == ENOTDIR) {
        failNotFound(path, std::generic_category().message(obstacle));
    }
    if (obstacle != 0) failNotExecutable(path, obstacle);
    return path;
}

std::vector<std::string> foldersOf(std::string_view searchPath) {
    std::vector<std::string> folders;
    for (;;) {
        const auto colon = searchPath.find(':');
        const auto folder = searchPath.substr(0, colon);
        folders.emplace_back(folder.empty() ? "." : folder);
        if (colon == std::string_view::npos) return folders;
        searchPath.remove_prefix(colon + 1);
    }
}

}  // namespace

std::string findProgram(const std::string& name, const char* searchPath) {
    if (name.find('/') != std::string::npos) return checkedProgram(name);
    if (name.empty()) failNotFound("''", "command not found");

    std::string firstWithoutPermission;
    for (const std::string& folder :
         foldersOf(searchPath != nullptr ? searchPath : _PATH_DEFPATH)) {
        std::string candidate = folder;
        candidate.append("/").append(name);
        const int obstacle = executionObstacle(candidate);
        if (obstacle == 0) return candidate;
        // A folder that may not be searched has nothing to offer, as for a shell.
        const bool exists = ::access(candidate.c_str(), F_OK) == 0;
        if (obstacle == EACCES && exists && firstWithoutPermission.empty()) {
            firstWithoutPermission = candidate;
        }
    }
    if (!firstWithoutPermission.empty()) failNotExecutable(firstWithoutPermission, EACCES);
    failNotFound(name, "command not found");
}

}  // namespace veltra
