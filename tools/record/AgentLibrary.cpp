#include "record/AgentLibrary.h"

#include <sys/auxv.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "record/Failure.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;

// Where things are in a tree that has both, relative to its root.
struct Layout {
    const char* launcherFolder;
    const char* libraryFolder;
    const char* coreFolder;
};

constexpr Layout layouts[] = {
    {VELTRA_BUILD_PROGRAM_DIRECTORY, VELTRA_BUILD_LIBRARY_DIRECTORY, VELTRA_BUILD_CORE_DIRECTORY},
    {VELTRA_INSTALL_PROGRAM_DIRECTORY, VELTRA_INSTALL_LIBRARY_DIRECTORY,
     VELTRA_INSTALL_CORE_DIRECTORY},
    {"", "", ""},
};

// The root of the tree, provided that the launcher is where the layout says.
std::optional<fs::path> rootOf(const Layout& layout, const fs::path& launcher) {
    const fs::path expected(layout.launcherFolder);
    fs::path root = launcher.parent_path();
    for (auto part = expected.end(); part != expected.begin(); root = root.parent_path()) {
        if (root.filename() != *--part) return std::nullopt;
    }
    return root;
}

// Whether the file exists. Throws if it does and is of no use.
bool isUsableLibrary(const fs::path& library) {
    if (::access(library.c_str(), R_OK) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return false;
        throw Failure(exitStatusCannotExecute, "cannot read the library " + library.string() +
                                                   ": " + std::generic_category().message(errno));
    }
    if (library.string().find_first_of(" \t:") != std::string::npos) {
        throw Failure(exitStatusCannotExecute,
                      "cannot preload " + library.string() +
                          ": the path of a preloaded library must not contain a blank or a colon");
    }
    return true;
}

}  // namespace

fs::path launcherPath() {
    std::error_code error;
    fs::path path = fs::read_symlink("/proc/self/exe", error);
    if (!error) return path;
    // A bare system may have no /proc. The name that the launcher was started by does nearly as
    // well.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system hands the pointer out as a number.
    return fs::canonical(reinterpret_cast<const char*>(::getauxval(AT_EXECFN)));
}

AgentLibraries findAgentLibraries(const fs::path& launcher) {
    for (const Layout& layout : layouts) {
        const auto root = rootOf(layout, launcher);
        if (!root) continue;
        const fs::path agent = *root / layout.libraryFolder / VELTRA_AGENT_LIBRARY_NAME;
        if (!isUsableLibrary(agent)) continue;
        const fs::path core = *root / layout.coreFolder / VELTRA_CORE_LIBRARY_NAME;
        const bool hasCore = ::access(core.c_str(), R_OK) == 0;
        return {agent.string(), hasCore ? core.string() : ""};
    }
    throw Failure(exitStatusCannotExecute, "cannot find " VELTRA_AGENT_LIBRARY_NAME
                                           ", which belongs to " +
                                               launcher.string());
}

}  // namespace veltra
