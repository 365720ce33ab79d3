#include <gtest/gtest.h>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "record/Failure.h"
#include "record/ProgramSearch.h"
#include "support/FreshProcess.h"

namespace veltra::testing {

namespace {

namespace fs = std::filesystem;

class ProgramSearch : public ::testing::Test {
protected:
    void makeProgram(const fs::path& path) const {
        folder.makeFile(path, "", fs::perms::owner_all);
    }

    // The full path of something in the folder.
    std::string at(const fs::path& path) const { return (folder.path() / path).string(); }

    static void expectFailure(const std::string& name, const std::string& searchPath,
                              int exitStatus, const std::string& reason) {
        try {
            const std::string program = findProgram(name, searchPath.c_str());
            FAIL() << "found " << program;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitStatus(), exitStatus);
            EXPECT_EQ(failure.what(), reason);
        }
    }

    TemporaryFolder folder;
};

TEST_F(ProgramSearch, TakesTheFirstInThePath) {
    makeProgram("one/program");
    makeProgram("two/program");
    makeProgram("two/other");
    const std::string path = at("none") + ":" + at("one") + ":" + at("two");
    EXPECT_EQ(findProgram("program", path.c_str()), at("one/program"));
    EXPECT_EQ(findProgram("other", path.c_str()), at("two/other"));
}

TEST_F(ProgramSearch, PassesOverWhatCannotBeRun) {
    folder.makeFile("one/program");
    fs::create_directories(at("two/program"));
    makeProgram("three/program");
    const std::string path = at("one") + ":" + at("two") + ":" + at("three");
    EXPECT_EQ(findProgram("program", path.c_str()), at("three/program"));
}

TEST_F(ProgramSearch, TakesAPathAsItIs) {
    makeProgram("program");
    EXPECT_EQ(findProgram(at("program"), "/nowhere"), at("program"));
}

TEST_F(ProgramSearch, TakesAnEmptyFolderNameForTheWorkingDirectory) {
    makeProgram("program");
    const fs::path previous = fs::current_path();
    fs::current_path(folder.path());
    EXPECT_EQ(findProgram("program", "/nowhere:"), "./program");
    EXPECT_EQ(findProgram("program", ":/nowhere"), "./program");
    EXPECT_EQ(findProgram("program", ""), "./program");
    fs::current_path(previous);
}

TEST_F(ProgramSearch, KnowsTheDefaultFolders) {
    EXPECT_TRUE(findProgram("sh", nullptr).ends_with("/bin/sh"));
}

TEST_F(ProgramSearch, SaysThatThereIsNone) {
    expectFailure("program", folder.path(), 127, "program: command not found");
    expectFailure("", folder.path(), 127, "'': command not found");
    expectFailure(at("program"), "", 127, at("program") + ": No such file or directory");
    folder.makeFile("file");
    expectFailure(at("file/program"), "", 127, at("file/program") + ": Not a directory");
}

TEST_F(ProgramSearch, FindsNothingWhereItMayNotLook) {
    fs::permissions(folder.path(), fs::perms::others_exec | fs::perms::owner_all);
    makeProgram("closed/program");
    fs::permissions(at("closed"), fs::perms::none);
    asOrdinaryUser([this] {
        expectFailure("program", at("closed"), 127, "program: command not found");
        expectFailure(at("closed/program"), "", 126,
                      "cannot execute " + at("closed/program") + ": Permission denied");
    });
    fs::permissions(at("closed"), fs::perms::owner_all);
}

TEST_F(ProgramSearch, SaysThatItCannotBeRun) {
    folder.makeFile("program");
    expectFailure("program", folder.path(), 126,
                  "cannot execute " + at("program") + ": Permission denied");
    expectFailure(at("program"), "", 126,
                  "cannot execute " + at("program") + ": Permission denied");
    expectFailure(at(""), "", 126, "cannot execute " + at("") + ": Is a directory");
}

}  // namespace

}  // namespace veltra::testing
