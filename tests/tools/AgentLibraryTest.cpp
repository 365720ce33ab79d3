#include <gtest/gtest.h>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "record/AgentLibrary.h"
#include "record/Failure.h"
#include "support/FreshProcess.h"

namespace veltra::testing {

namespace {

namespace fs = std::filesystem;

const fs::path libraryName = "libveltra_socket_agent.so";
const fs::path installedLauncher = fs::path(VELTRA_INSTALL_PROGRAM_DIRECTORY) / "veltra-record";
const fs::path installedLibrary = VELTRA_INSTALL_LIBRARY_DIRECTORY / libraryName;
const fs::path coreName = "libRecorderCore64.so";
const fs::path installedCore = VELTRA_INSTALL_CORE_DIRECTORY / coreName;

void expectUnusable(const fs::path& launcher, const std::string& reason) {
    try {
        const std::string library = findAgentLibraries(launcher).agent;
        FAIL() << "found " << library;
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitStatus(), 126);
        EXPECT_EQ(failure.what(), reason);
    }
}

TEST(Launcher, KnowsItsOwnFile) {
    EXPECT_TRUE(launcherPath().is_absolute());
    EXPECT_EQ(launcherPath().filename(), "veltra_record_tests");
}

TEST(AgentLibrary, IsFoundInTheBuildTree) {
    EXPECT_EQ(findAgentLibraries(VELTRA_BUILT_LAUNCHER).agent, VELTRA_AGENT_LIBRARY);
}

TEST(AgentLibrary, IsFoundInAnInstalledTree) {
    const TemporaryFolder prefix;
    const fs::path library = prefix.makeFile(installedLibrary);
    EXPECT_EQ(findAgentLibraries(prefix.path() / installedLauncher).agent, library);
}

TEST(AgentLibrary, IsFoundBesideTheLauncher) {
    const TemporaryFolder folder;
    const fs::path library = folder.makeFile(libraryName);
    EXPECT_EQ(findAgentLibraries(folder.path() / "veltra-record").agent, library);
}

TEST(AgentLibrary, OfTheTreeIsPreferredToOneBesideTheLauncher) {
    const TemporaryFolder prefix;
    const fs::path library = prefix.makeFile(installedLibrary);
    prefix.makeFile(installedLauncher.parent_path() / libraryName);
    EXPECT_EQ(findAgentLibraries(prefix.path() / installedLauncher).agent, library);
}

TEST(AgentLibrary, IsNotTakenFromAnotherTree) {
    const TemporaryFolder folder;
    folder.makeFile(installedLibrary);
    const fs::path launcher = folder.path() / "elsewhere" / "veltra-record";
    expectUnusable(launcher,
                   "cannot find libveltra_socket_agent.so, which belongs to " + launcher.string());
}

TEST(RecorderCoreLibrary, IsFoundInTheBuildTree) {
    EXPECT_EQ(findAgentLibraries(VELTRA_BUILT_LAUNCHER).core, VELTRA_CORE_LIBRARY);
}

TEST(RecorderCoreLibrary, IsFoundInAnInstalledTree) {
    const TemporaryFolder prefix;
    prefix.makeFile(installedLibrary);
    const fs::path core = prefix.makeFile(installedCore);
    EXPECT_EQ(findAgentLibraries(prefix.path() / installedLauncher).core, core);
}

TEST(RecorderCoreLibrary, IsFoundBesideTheLauncher) {
    const TemporaryFolder folder;
    folder.makeFile(libraryName);
    const fs::path core = folder.makeFile(coreName);
    EXPECT_EQ(findAgentLibraries(folder.path() / "veltra-record").core, core);
}

TEST(RecorderCoreLibrary, MayBeMissing) {
    const TemporaryFolder prefix;
    prefix.makeFile(installedLibrary);
    prefix.makeFile(installedLauncher.parent_path() / coreName);
    EXPECT_EQ(findAgentLibraries(prefix.path() / installedLauncher).core, "");
}

TEST(AgentLibrary, MustBeReadable) {
    const TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms::others_exec | fs::perms::owner_all);
    const fs::path library = folder.makeFile(libraryName, "", fs::perms::none);
    asOrdinaryUser([&] {
        expectUnusable(folder.path() / "veltra-record",
                       "cannot read the library " + library.string() + ": Permission denied");
    });
}

TEST(AgentLibrary, MustHaveAPathThatCanBePreloaded) {
    for (const char* subfolder : {"with blank", "with:colon", "with\ttab"}) {
        const TemporaryFolder folder;
        const fs::path library = folder.makeFile(subfolder / libraryName);
        expectUnusable(library.parent_path() / "veltra-record",
                       "cannot preload " + library.string() +
                           ": the path of a preloaded library must not contain a blank or a colon");
    }
}

}  // namespace

}  // namespace veltra::testing
