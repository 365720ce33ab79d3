#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "ScriptedSystem.h"
#include "base/utils.h"
#include "support/FailingMalloc.h"
#include "support/FreshProcess.h"
#include "support/TraceLog.h"

// The settings are read once in a process, so that every test here has processes of its own.

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::contentOf;
using veltra::testing::FailingMalloc;
using veltra::testing::inFreshProcess;
using veltra::testing::TemporaryFolder;

constexpr const char* fileName = "sock_2024-03-05-14_07_09_4711.txt";

class LogFileSettings : public ::testing::Test {
protected:
    // Runs the body with these settings, at the same second in the same process number. Null means
    // not set.
    static void with(const char* level, const char* directory, const std::function<void()>& body) {
        inFreshProcess([&] {
            scriptedSystem.time = 1709647629;
            scriptedSystem.processId = 4711;
            set("VELTRA_SOCKET_AGENT_DEBUG_LVL", level);
            set("VELTRA_SOCKET_AGENT_DEBUG_DIR", directory);
            initializeCriticalSections();
            body();
        });
    }

    static void set(const char* name, const char* value) {
        ASSERT_EQ(value == nullptr ? unsetenv(name) : setenv(name, value, 1), 0);
    }

    static std::string contentAfterFlush(const std::filesystem::path& file) {
        std::fflush(nullptr);
        return contentOf(file);
    }

    TemporaryFolder folder_;
    std::filesystem::path directory_ = folder_.path() / "logs";
    std::filesystem::path file_ = directory_ / fileName;
};

TEST_F(LogFileSettings, DirectoryAndFileAreCreated) {
    with("1023", directory_.c_str(), [&] {
        set_default_debug_display("sock");
        x_disp(TRACE_CALL, "[%d]socket ", 12);
        EXPECT_EQ(contentAfterFlush(file_),
                  "[INFO ]debug level : 1023\t debug dir : " + directory_.string() +
                      "/\t debug file : " + file_.string() +
                      "\t pid : 4711\n"
                      "[CALL ][12]socket \n");
        EXPECT_THAT(scriptedSystem.takeDebugServerLines(), ElementsAre("[CALL ][12]socket \n"));
        EXPECT_EQ(currentProcessId.load(), 4711);
    });
}

TEST_F(LogFileSettings, FileNameBeginsWithThePrefix) {
    with("1", directory_.c_str(), [&] {
        set_default_debug_display("other");
        EXPECT_TRUE(std::filesystem::exists(directory_ / "other_2024-03-05-14_07_09_4711.txt"));
    });
}

TEST_F(LogFileSettings, SlashIsAppendedAlsoToAnother) {
    const std::string directory = directory_.string() + "/";
    with("2", directory.c_str(), [&] {
        set_default_debug_display("sock");
        EXPECT_EQ(contentAfterFlush(file_), "[INFO ]debug level : 2\t debug dir : " + directory +
                                                "/\t debug file : " + directory + "/" + fileName +
                                                "\t pid : 4711\n");
    });
}

TEST_F(LogFileSettings, ExistingDirectoryIsFine) {
    std::filesystem::create_directory(directory_);
    with("3", directory_.c_str(), [&] {
        set_default_debug_display("sock");
        x_disp(TRACE_ERROR, "one");
        x_disp(TRACE_CALL, "dropped");
        EXPECT_EQ(contentAfterFlush(file_),
                  "[INFO ]debug level : 3\t debug dir : " + directory_.string() +
                      "/\t debug file : " + file_.string() + "\t pid : 4711\n[ERROR]one\n");
    });
}

TEST_F(LogFileSettings, DirectoryIsOpenToAllThatTheUserAllows) {
    for (const mode_t mask : {0U, 027U, 077U}) {
        with("1023", directory_.c_str(), [&] {
            umask(mask);
            set_default_debug_display("sock");
            struct stat status;
            ASSERT_EQ(stat(directory_.c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777, 0777 & ~mask);
        });
        std::filesystem::remove_all(directory_);
    }
}

TEST_F(LogFileSettings, OnlyTheLastPartOfTheDirectoryIsCreated) {
    const std::filesystem::path nested = directory_ / "nested";
    with("1023", nested.c_str(), [&] {
        set_default_debug_display("sock");
        EXPECT_FALSE(std::filesystem::exists(directory_));
        EXPECT_TRUE(hasLogFile());
        EXPECT_EQ(getDebugLvl(), 1023);
        x_disp(TRACE_INFO, "for the server");
        EXPECT_THAT(scriptedSystem.takeDebugServerLines(), ElementsAre("[INFO ]for the server\n"));
    });
}

void expectNoLogFile() {
    EXPECT_FALSE(hasLogFile());
    x_disp(TRACE_ERROR, "dropped");
    x_disp(TRACE_INFO, "dropped");
    x_disp(TRACE_GENER, "dropped");
    EXPECT_THAT(scriptedSystem.takeDebugServerLines(), IsEmpty());
    x_disp(TRACE_LOW, "low");
    EXPECT_THAT(scriptedSystem.takeDebugServerLines(), ElementsAre("[LOW  ]low\n"));
}

TEST_F(LogFileSettings, LevelZeroCreatesNothing) {
    for (const char* const level : {static_cast<const char*>(nullptr), "0", "", "0x3ff", "-0"}) {
        with(level, directory_.c_str(), [&] {
            set_default_debug_display("sock");
            EXPECT_EQ(getDebugLvl(), 0);
            EXPECT_FALSE(std::filesystem::exists(directory_));
            expectNoLogFile();
        });
    }
}

TEST_F(LogFileSettings, NoDirectoryMeansNoFile) {
    with("1023", nullptr, [] {
        set_default_debug_display("sock");
        EXPECT_EQ(getDebugLvl(), 1023);
        expectNoLogFile();
    });
}

struct LevelRow {
    const char* text;
    int level;
};

TEST_F(LogFileSettings, LevelIsADecimalNumber) {
    constexpr LevelRow rows[] = {
        {"1023", 1023}, {"1", 1},      {"0x10", 0}, {"12abc", 12}, {"abc", 0},
        {"-1", -1},     {" \t42", 42}, {"+7", 7},   {"-16", -16},  {"010", 10},
        {"3 1", 3},     {"1.9", 1},    {"", 0},     {nullptr, 0},  {"2147483647", 2147483647}};
    for (const LevelRow& row : rows) {
        with(row.text, nullptr, [&] {
            set_default_debug_display("sock");
            EXPECT_EQ(getDebugLvl(), row.level) << (row.text == nullptr ? "not set" : row.text);
        });
    }
}

TEST_F(LogFileSettings, NegativeLevelOpensAFile) {
    with("-1", directory_.c_str(), [&] {
        set_default_debug_display("sock");
        x_disp(TRACE_DATA, "data");
        EXPECT_EQ(contentAfterFlush(file_),
                  "[INFO ]debug level : -1\t debug dir : " + directory_.string() +
                      "/\t debug file : " + file_.string() + "\t pid : 4711\n[DATA ]data\n");
    });
}

TEST_F(LogFileSettings, AreReadOnce) {
    const std::filesystem::path later = folder_.path() / "later";
    with("7", directory_.c_str(), [&] {
        set_default_debug_display("sock");
        set("VELTRA_SOCKET_AGENT_DEBUG_LVL", "1023");
        set("VELTRA_SOCKET_AGENT_DEBUG_DIR", later.c_str());
        set_default_debug_display("sock");
        EXPECT_EQ(getDebugLvl(), 7);
        EXPECT_FALSE(std::filesystem::exists(later));
        x_disp(TRACE_HOOK, "still");
        EXPECT_EQ(contentAfterFlush(file_),
                  "[INFO ]debug level : 7\t debug dir : " + directory_.string() +
                      "/\t debug file : " + file_.string() + "\t pid : 4711\n[HOOK ]still\n");
    });
}

TEST_F(LogFileSettings, AreReadOnceAlsoWhenTheyAskForNothing) {
    with(nullptr, nullptr, [&] {
        set_default_debug_display("sock");
        set("VELTRA_SOCKET_AGENT_DEBUG_LVL", "1023");
        set("VELTRA_SOCKET_AGENT_DEBUG_DIR", directory_.c_str());
        set_default_debug_display("sock");
        EXPECT_EQ(getDebugLvl(), 0);
        EXPECT_FALSE(std::filesystem::exists(directory_));
        expectNoLogFile();
    });
}

TEST_F(LogFileSettings, AreReadAgainWhenMemoryWasShort) {
    with("1", directory_.c_str(), [&] {
        {
            const FailingMalloc failing;
            set_default_debug_display("sock");
        }
        EXPECT_FALSE(hasLogFile());
        set("VELTRA_SOCKET_AGENT_DEBUG_LVL", "2");
        set_default_debug_display("sock");
        EXPECT_TRUE(hasLogFile());
        EXPECT_EQ(getDebugLvl(), 2);
        EXPECT_EQ(contentAfterFlush(file_),
                  "[INFO ]debug level : 2\t debug dir : " + directory_.string() +
                      "/\t debug file : " + file_.string() + "\t pid : 4711\n");
    });
}

}  // namespace
