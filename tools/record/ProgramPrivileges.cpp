#include "record/ProgramPrivileges.h"

#include <sys/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <memory>
#include <type_traits>

namespace veltra {

namespace {

using Capabilities = std::unique_ptr<std::remove_pointer_t<cap_t>, decltype(&::cap_free)>;

// Whether the system takes no notice of what the file grants.
bool grantsAreIgnored(const std::string& path) {
    struct statvfs mount {};
    if (::statvfs(path.c_str(), &mount) == 0 && (mount.f_flag & ST_NOSUID) != 0) return true;
    return ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1;
}

bool hasCapabilities(const std::string& path) {
    const Capabilities granted(::cap_get_file(path.c_str()), &::cap_free);
    const Capabilities none(::cap_init(), &::cap_free);
    return granted && none && ::cap_compare(granted.get(), none.get()) != 0;
}

}  // namespace

std::optional<std::string> privilegeObstacle(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || grantsAreIgnored(path)) return std::nullopt;
    if ((status.st_mode & S_ISUID) != 0 && status.st_uid != ::getuid()) {
        return "runs with the rights of its owner (set-user-ID)";
    }
    // Without the right to execute, the bit means something else.
    constexpr mode_t setGroup = S_ISGID | S_IXGRP;
    if ((status.st_mode & setGroup) == setGroup && status.st_gid != ::getgid()) {
        return "runs with the rights of its group (set-group-ID)";
    }
    if (::getuid() != 0 && hasCapabilities(path))
        return "runs with rights of its own (file capabilities)";
    return std::nullopt;
}

}  // namespace veltra
