#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "ScriptedSystem.h"
#include "base/utils.h"
#include "support/FailingMalloc.h"
#include "support/TraceLog.h"

namespace {

using ::testing::ElementsAre;
using veltra::testing::contentOf;
using veltra::testing::FailingMalloc;
using veltra::testing::TemporaryFolder;

constexpr time_t fifthOfMarch = 1709647629;  // 2024-03-05 14:07:09 UTC

std::string flushedContentOf(const std::filesystem::path& file) {
    std::fflush(nullptr);
    return contentOf(file);
}

class LogFile : public ::testing::Test {
protected:
    LogFile() { debugLvl.store(1023); }
    ~LogFile() override {
        set_file_display(nullptr, nullptr);
        debugLvl.store(-1);
    }

    std::string header(const std::string& directory, const std::string& file) const {
        return "[INFO ]debug level : 1023\t debug dir : " + directory + "\t debug file : " + file +
               "\t pid : " + std::to_string(currentProcessId.load()) + "\n";
    }

    TemporaryFolder folder_;
    std::string first_ = folder_.path() / "first.txt";
    std::string second_ = folder_.path() / "second.txt";

private:
    ScriptedSystemScope scope_;
};

struct BuiltName {
    std::string name;
    std::size_t size;
};

BuiltName builtName(const char* directory, const char* prefix, const char* suffix) {
    char* name = nullptr;
    std::size_t size = 0;
    build_debug_file_name(directory, prefix, suffix, &name, &size);
    const std::unique_ptr<char, decltype(&std::free)> owner(name, &std::free);
    return {name == nullptr ? "(null)" : name, size};
}

TEST_F(LogFile, NameHasDirectoryPrefixTimeProcessAndSuffix) {
    scriptedSystem.time = fifthOfMarch;
    scriptedSystem.processId = 4711;
    const BuiltName built = builtName("/var/tmp/trace/", "sock", ".txt");
    EXPECT_EQ(built.name, "/var/tmp/trace/sock_2024-03-05-14_07_09_4711.txt");
    EXPECT_EQ(built.size, built.name.size() + 1);
    EXPECT_EQ(currentProcessId.load(), 4711);
}

TEST_F(LogFile, NameOfEmptyParts) {
    scriptedSystem.time = 0;
    scriptedSystem.processId = 1;
    const BuiltName built = builtName("", "", "");
    EXPECT_EQ(built.name, "_1970-01-01-00_00_00_1");
    EXPECT_EQ(built.size, built.name.size() + 1);
}

TEST_F(LogFile, OnlyTheTimeInTheNameLosesItsBlanksAndColons) {
    scriptedSystem.time = fifthOfMarch;
    scriptedSystem.processId = 2147483647;
    EXPECT_EQ(builtName("a b:c/", "p q:", ". :").name,
              "a b:c/p q:_2024-03-05-14_07_09_2147483647. :");
}

TEST_F(LogFile, TimeInTheNameIsNotLocal) {
    scriptedSystem.time = fifthOfMarch;
    scriptedSystem.processId = 4711;
    ASSERT_EQ(setenv("TZ", "XYZ-11:30", 1), 0);
    tzset();
    EXPECT_EQ(builtName("", "sock", ".txt").name, "sock_2024-03-05-14_07_09_4711.txt");
    unsetenv("TZ");
    tzset();
}

TEST_F(LogFile, NameWithoutMemoryIsNull) {
    scriptedSystem.time = fifthOfMarch;
    scriptedSystem.processId = 4711;
    const FailingMalloc failing;
    char text[] = "?";
    char* name = text;
    std::size_t size = 0;
    build_debug_file_name("/d/", "sock", ".txt", &name, &size);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(size, std::strlen("/d/sock_2024-03-05-14_07_09_4711.txt") + 1);
}

TEST_F(LogFile, BeginsWithTheHeader) {
    set_file_display(first_.c_str(), "the directory/");
    EXPECT_TRUE(hasLogFile());
    EXPECT_EQ(contentOf(first_), "") << "nothing is flushed";
    EXPECT_EQ(flushedContentOf(first_), header("the directory/", first_));
    EXPECT_THAT(scriptedSystem.debugServerLines, ElementsAre()) << "the header is the file's alone";
}

TEST_F(LogFile, HeaderShowsLevelAndProcess) {
    debugLvl.store(-17);
    currentProcessId.store(4711);
    set_file_display(first_.c_str(), "d/");
    EXPECT_EQ(
        flushedContentOf(first_),
        "[INFO ]debug level : -17\t debug dir : d/\t debug file : " + first_ + "\t pid : 4711\n");
}

TEST_F(LogFile, HeaderIsWrittenWhateverTheLevel) {
    debugLvl.store(1);
    currentProcessId.store(12);
    set_file_display(first_.c_str(), "d/");
    x_disp(TRACE_INFO, "dropped");
    x_disp(TRACE_ERROR, "written");
    EXPECT_EQ(flushedContentOf(first_), "[INFO ]debug level : 1\t debug dir : d/\t debug file : " +
                                            first_ + "\t pid : 12\n[ERROR]written\n");
}

TEST_F(LogFile, IsTruncatedWhenOpened) {
    folder_.makeFile("first.txt", std::string(10000, 'o'),
                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    set_file_display(first_.c_str(), "d/");
    EXPECT_EQ(std::filesystem::file_size(first_), 0U);
    x_disp(TRACE_CALL, "new");
    EXPECT_EQ(flushedContentOf(first_), header("d/", first_) + "[CALL ]new\n");
}

TEST_F(LogFile, IsReplacedByTheNext) {
    set_file_display(first_.c_str(), "d/");
    x_disp(TRACE_INFO, "to the first");
    set_file_display(second_.c_str(), "e/");
    x_disp(TRACE_INFO, "to the second");
    EXPECT_EQ(flushedContentOf(first_), header("d/", first_) + "[INFO ]to the first\n");
    EXPECT_EQ(flushedContentOf(second_), header("e/", second_) + "[INFO ]to the second\n");
}

TEST_F(LogFile, NullMeansNone) {
    set_file_display(first_.c_str(), "d/");
    set_file_display(nullptr, nullptr);
    EXPECT_FALSE(hasLogFile());
    x_disp(TRACE_ERROR, "dropped");
    EXPECT_EQ(flushedContentOf(first_), header("d/", first_));
    EXPECT_THAT(scriptedSystem.debugServerLines, ElementsAre());
    EXPECT_NE(internal_buffer_display, nullptr);
    EXPECT_EQ(internal_buffer_display_size, 8192);
}

TEST_F(LogFile, UnopenableFileLeavesTheDebugServer) {
    set_file_display(first_.c_str(), "d/");
    const std::string unopenable = folder_.path() / "missing" / "file.txt";
    set_file_display(unopenable.c_str(), "d/");
    EXPECT_TRUE(hasLogFile());
    x_disp(TRACE_INFO, "one");
    x_disp(TRACE_LOW, "two");
    debugLvl.store(1);
    x_disp(TRACE_INFO, "disabled");
    EXPECT_THAT(scriptedSystem.debugServerLines, ElementsAre("[INFO ]one\n", "[LOW  ]two\n"));
    EXPECT_EQ(flushedContentOf(first_), header("d/", first_));
    EXPECT_FALSE(std::filesystem::exists(unopenable));
}

TEST_F(LogFile, WithoutMemoryForItsNameThereIsNone) {
    scriptedSystem.strdupFails = true;
    set_file_display(first_.c_str(), "d/");
    EXPECT_FALSE(hasLogFile());
    EXPECT_FALSE(std::filesystem::exists(first_));
    x_disp(TRACE_ERROR, "dropped");
    EXPECT_THAT(scriptedSystem.debugServerLines, ElementsAre());
}

TEST_F(LogFile, WithoutMemoryForTheBufferItHasNoHeader) {
    {
        const FailingMalloc failing(8192);
        set_file_display(first_.c_str(), "d/");
        x_disp(TRACE_ERROR, "dropped");
    }
    x_disp(TRACE_ERROR, "written");
    EXPECT_EQ(flushedContentOf(first_), "[ERROR]written\n");
}

TEST_F(LogFile, WritesWholeLinesWhenAskedDirectly) {
    set_file_display(first_.c_str(), "d/");
    writeToLogFile("abcdef", 3);
    EXPECT_EQ(flushedContentOf(first_), header("d/", first_) + "abc");
    set_file_display(nullptr, nullptr);
    writeToLogFile("ghi", 3);
    EXPECT_EQ(flushedContentOf(first_), header("d/", first_) + "abc");
}

// The descriptor that the process has open on a file, or -1.
int descriptorOf(const std::filesystem::path& file) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) == file) {
            return std::stoi(entry.path().filename());
        }
    }
    return -1;
}

TEST_F(LogFile, IsNotHandedOnToExecutedPrograms) {
    set_file_display(first_.c_str(), "d/");
    const int descriptor = descriptorOf(first_);
    ASSERT_NE(descriptor, -1);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
}

}  // namespace
