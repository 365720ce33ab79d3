#include <gtest/gtest.h>
#include <sys/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ProgramFile.h"
#include "TemporaryFolder.h"
#include "record/RecordingObstacle.h"
#include "support/FreshProcess.h"

namespace veltra::testing {

namespace {

namespace fs = std::filesystem;
using Obstacle = std::optional<std::string>;

constexpr const char* staticProgram = VELTRA_STATIC_PROGRAM;
constexpr fs::perms anybodyRuns = fs::perms::owner_all | fs::perms::group_read |
                                  fs::perms::group_exec | fs::perms::others_read |
                                  fs::perms::others_exec;

class RecordingObstacle : public ::testing::Test {
protected:
    RecordingObstacle() { fs::permissions(folder_.path(), anybodyRuns); }

    std::string file(const std::string& name, const std::string& content) const {
        return folder_.makeFile(name, content, anybodyRuns).string();
    }

    Obstacle obstacleOf(const std::string& program) const {
        return recordingObstacle(program, folder_.path().c_str());
    }

    const TemporaryFolder folder_;
};

TEST_F(RecordingObstacle, IsNoneForAnOrdinaryProgram) {
    EXPECT_EQ(obstacleOf("/bin/sh"), std::nullopt);
    asOrdinaryUser([this] { EXPECT_EQ(obstacleOf("/bin/sh"), std::nullopt); });
}

TEST_F(RecordingObstacle, IsStaticLinking) {
    for (const std::string program : {VELTRA_STATIC_PROGRAM, VELTRA_STATIC_PIE_PROGRAM}) {
        EXPECT_EQ(obstacleOf(program), program + " is statically linked");
    }
}

TEST_F(RecordingObstacle, IsAnotherArchitecture) {
    struct Case {
        unsigned char width;
        std::uint16_t machine;
        const char* name;
    };
    for (const auto& [width, machine, name] :
         {Case{ELFCLASS32, EM_386, "i386"}, Case{ELFCLASS32, EM_ARM, "ARM"},
          Case{ELFCLASS64, EM_AARCH64, "ARM64"}, Case{ELFCLASS32, EM_X86_64, "x32"},
          Case{ELFCLASS64, EM_RISCV, "machine number 243"}}) {
        const std::string program = file(name, programFor(width, machine));
        EXPECT_EQ(obstacleOf(program),
                  program + " is built for " + name + ", the agent for x86-64");
    }
}

TEST_F(RecordingObstacle, IsAnotherCLibrary) {
    const std::string program = file("program", programWithLoader("/lib/ld-other-x86_64.so.1"));
    EXPECT_EQ(
        obstacleOf(program),
        program + " is built for another C library, with the loader /lib/ld-other-x86_64.so.1");
    const std::string moved = file("moved", programWithLoader("/opt/lib/ld-linux-x86-64.so.2"));
    EXPECT_EQ(obstacleOf(moved), std::nullopt);
}

TEST_F(RecordingObstacle, IsUnknownForWhatIsNoProgram) {
    for (const std::string& content : {std::string(), std::string("echo text\n"),
                                       std::string("\x7f"
                                                   "ELF"),
                                       programWithLoader("/lib/x").substr(0, 63)}) {
        EXPECT_EQ(obstacleOf(file("file", content)), std::nullopt);
    }
    EXPECT_EQ(obstacleOf(folder_.path() / "missing"), std::nullopt);
}

TEST_F(RecordingObstacle, OfAScriptIsThatOfItsInterpreter) {
    fs::create_symlink(staticProgram, folder_.path() / "still");
    const std::string still = folder_.path() / "still";
    const struct {
        std::string firstLine;
        std::string program;
    } cases[] = {
        {"#!" + still, still},
        {"#! \t" + still + " \t-x y", still},
        {"#!/usr/bin/env still", still},
        {"#! /usr/bin/env  still ", still},
        {"#!/usr/bin/env -S still -x", still},
        {"#!/usr/bin/env -Sstill -x", still},
        {"#!/usr/bin/env -vS A=1 B= still", still},
        {"#!/usr/bin/env --split-string=still -x", still},
    };
    for (const auto& [firstLine, program] : cases) {
        const std::string script = file("script", firstLine + "\nmore\n");
        EXPECT_EQ(obstacleOf(script), program + ", which runs " + script + ", is statically linked")
            << firstLine;
    }
}

TEST_F(RecordingObstacle, IsFoundBehindSeveralScripts) {
    const std::string inner = file("inner", std::string("#!") + staticProgram);
    const std::string outer = file("outer", "#!" + inner + "\n");
    EXPECT_EQ(obstacleOf(outer),
              std::string(staticProgram) + ", which runs " + outer + ", is statically linked");
}

TEST_F(RecordingObstacle, IsNoneForOtherScripts) {
    for (const char* firstLine : {"#!/bin/sh", "#!/usr/bin/env missing", "#!/usr/bin/env -i",
                                  "#!/usr/bin/env", "#!", "#! ", "#!/missing", "# !/bin/sh"}) {
        EXPECT_EQ(obstacleOf(file("script", firstLine)), std::nullopt) << firstLine;
    }
    const std::string endless = folder_.path() / "endless";
    EXPECT_EQ(obstacleOf(file("endless", "#!" + endless + "\n")), std::nullopt);
}

TEST_F(RecordingObstacle, IsTheOwnersRightsForOthersAlone) {
    asOrdinaryUser([this] {
        EXPECT_EQ(obstacleOf("/bin/su"), "/bin/su runs with the rights of its owner (set-user-ID)");
    });
    // A copy of the user's own gives no rights that the user has not.
    const std::string own = folder_.path() / "own";
    fs::copy_file("/bin/su", own);
    ASSERT_EQ(::chmod(own.c_str(), 06755), 0);
    EXPECT_EQ(obstacleOf(own), std::nullopt);
}

TEST_F(RecordingObstacle, IsTheGroupsRightsForOthersAlone) {
    asOrdinaryUser([this] {
        EXPECT_EQ(obstacleOf("/usr/bin/chage"),
                  "/usr/bin/chage runs with the rights of its group (set-group-ID)");
    });
}

TEST_F(RecordingObstacle, IsNoneWhereTheSystemGrantsNoRights) {
    asOrdinaryUser([this] {
        ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        EXPECT_EQ(obstacleOf("/bin/su"), std::nullopt);
        EXPECT_EQ(obstacleOf("/usr/bin/chage"), std::nullopt);
    });
}

TEST_F(RecordingObstacle, IsUnknownForAPipeThatNobodyWritesTo) {
    const std::string pipe = folder_.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0700), 0);
    EXPECT_EQ(obstacleOf(pipe), std::nullopt);
}

TEST_F(RecordingObstacle, IsNoneForAScriptWithTheBit) {
    const std::string script = file("script", "#!/bin/sh\n");
    ASSERT_EQ(::chmod(script.c_str(), 06755), 0);
    asOrdinaryUser([&] { EXPECT_EQ(obstacleOf(script), std::nullopt); });
}

TEST_F(RecordingObstacle, IsCapabilitiesForThoseWhoLackThem) {
    const std::string program = folder_.path() / "program";
    fs::copy_file("/bin/sh", program);
    const std::unique_ptr<std::remove_pointer_t<cap_t>, decltype(&::cap_free)> capabilities(
        ::cap_from_text("cap_net_raw=ep"), &::cap_free);
    // An ordinary user may not grant any, and then there is nothing in the way.
    const bool areGranted = ::cap_set_file(program.c_str(), capabilities.get()) == 0;
    asOrdinaryUser([&] {
        EXPECT_EQ(obstacleOf(program),
                  areGranted
                      ? Obstacle(program + " runs with rights of its own (file capabilities)")
                      : std::nullopt);
    });
}

}  // namespace

}  // namespace veltra::testing
