#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "LookUpLine.h"
#include "base/export.h"
#include "base/utils.h"
#include "support/TraceLog.h"

// Names of the program itself, which it exports.
extern "C" {
VELTRA_EXPORT int lookUpProgramName();
VELTRA_EXPORT int lookUpSharedName();

int lookUpProgramName() {
    return 1;
}

int lookUpSharedName() {
    return 2;
}
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::TemporaryFolder;
using veltra::testing::TraceLog;

constexpr const char* missingName = "lookUpNameThatNobodyHas";

int called(void* function) {
    return function == nullptr ? -1 : reinterpret_cast<int (*)()>(function)();
}

void* programAddress(int (*function)()) {
    return reinterpret_cast<void*>(function);
}

// The working directory for the length of a scope.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::filesystem::path& path)
        : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() { std::filesystem::current_path(before_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path before_;
};

TEST(SymbolLookup, NextIsWhatComesAfterTheAgent) {
    for (const char* const name : {"socket", "connect", "getaddrinfo", "strlen"}) {
        EXPECT_NE(Truedlsym(RTLD_NEXT, name), nullptr) << name;
        EXPECT_EQ(Truedlsym(RTLD_NEXT, name), dlsym(RTLD_NEXT, name)) << name;
    }
    EXPECT_EQ(Truedlsym(RTLD_NEXT, "lookUpProgramName"), nullptr);
}

TEST(SymbolLookup, DefaultIsTheGlobalOrder) {
    Truedlsym(RTLD_NEXT, "socket");
    EXPECT_EQ(Truedlsym(RTLD_DEFAULT, "socket"), dlsym(RTLD_DEFAULT, "socket"));
    EXPECT_EQ(Truedlsym(RTLD_DEFAULT, "lookUpProgramName"), programAddress(&lookUpProgramName));
    EXPECT_EQ(Truedlsym(RTLD_DEFAULT, missingName), nullptr);
}

TEST(SymbolLookup, MissingNameLeavesTheLoadersMessage) {
    dlerror();
    EXPECT_EQ(Truedlsym(RTLD_NEXT, missingName), nullptr);
    const char* const message = dlerror();
    ASSERT_NE(message, nullptr);
    EXPECT_NE(std::strstr(message, missingName), nullptr) << message;
}

TEST(SymbolLookup, HandleNamesALibrary) {
    void* const library = dlopen(VELTRA_LOOK_UP_SAMPLE, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(called(Truedlsym(library, "lookUpLibraryName")), 42);
    EXPECT_EQ(called(Truedlsym(library, "lookUpSharedName")), 43);
    EXPECT_EQ(Truedlsym(library, "lookUpProgramName"), nullptr);
    EXPECT_EQ(called(GetProcAddress(library, "lookUpSharedName")), 43);
    EXPECT_EQ(called(GetProcAddress(library, "lookUpProgramName")), 1) << "by default order";
    EXPECT_EQ(GetProcAddress(library, missingName), nullptr);
    EXPECT_EQ(dlclose(library), 0);
}

TEST(SymbolLookup, GetProcAddressTriesTheDefaultOrderNext) {
    EXPECT_EQ(GetProcAddress(RTLD_NEXT, "socket"), dlsym(RTLD_NEXT, "socket"));
    EXPECT_EQ(GetProcAddress(RTLD_NEXT, "lookUpProgramName"), programAddress(&lookUpProgramName));
    EXPECT_EQ(GetProcAddress(RTLD_NEXT, missingName), nullptr);
}

TEST(SymbolLookup, GetProcAddressHasAnAddress) {
    EXPECT_EQ(getfGetProcAddress(), &GetProcAddress);
}

TEST(SymbolLookup, OnlyMyGetProcAddrLeavesATrace) {
    TraceLog log;
    Truedlsym(RTLD_NEXT, "socket");
    GetProcAddress(RTLD_NEXT, "socket");
    LoadSymbolFromLibrary(VELTRA_LOOK_UP_SAMPLE, "lookUpLibraryName");
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(SymbolLookup, MyGetProcAddrTracesWhatItFound) {
    TraceLog log;
    void* const next = dlsym(RTLD_NEXT, "socket");
    EXPECT_EQ(MyGetProcAddr("socket"), next);
    EXPECT_EQ(MyGetProcAddr("lookUpProgramName"), programAddress(&lookUpProgramName));
    EXPECT_EQ(MyGetProcAddr(missingName), nullptr);
    EXPECT_THAT(log.takeLines(),
                ElementsAre(lookUpLine("socket", next),
                            lookUpLine("lookUpProgramName", programAddress(&lookUpProgramName)),
                            "[INFO ]Get_addr(lookUpNameThatNobodyHas)=> 00000000"));
}

TEST(SymbolLookup, MyGetProcAddrTracesAsInfo) {
    TraceLog log(1023 & ~(1 << TRACE_INFO));
    EXPECT_NE(MyGetProcAddr("socket"), nullptr);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST(SymbolLookup, KnowsWhatLiesInTheAgent) {
    static int object = 0;
    EXPECT_TRUE(isInsideAgent(reinterpret_cast<const void*>(&Truedlsym)));
    EXPECT_TRUE(isInsideAgent(&object));
    EXPECT_FALSE(isInsideAgent(dlsym(RTLD_NEXT, "socket")));
    EXPECT_FALSE(isInsideAgent(nullptr));
}

TEST(LibrarySymbol, IsFoundInTheLibraryAndNotBefore) {
    EXPECT_EQ(called(LoadSymbolFromLibrary(VELTRA_LOOK_UP_SAMPLE, "lookUpLibraryName")), 42);
    EXPECT_EQ(called(LoadSymbolFromLibrary(VELTRA_LOOK_UP_SAMPLE, "lookUpSharedName")), 43);
    EXPECT_EQ(LoadSymbolFromLibrary(VELTRA_LOOK_UP_SAMPLE, missingName), nullptr);
}

TEST(LibrarySymbol, LibraryStaysOpen) {
    LoadSymbolFromLibrary(VELTRA_LOOK_UP_SAMPLE, "lookUpLibraryName");
    void* const library = dlopen(VELTRA_LOOK_UP_SAMPLE, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_NE(library, nullptr);
    dlclose(library);
}

TEST(LibrarySymbol, PathIsMadeCanonical) {
    const TemporaryFolder folder;
    const std::filesystem::path link = folder.path() / "link";
    std::filesystem::create_symlink(VELTRA_LOOK_UP_SAMPLE, link);
    EXPECT_EQ(called(LoadSymbolFromLibrary(link.c_str(), "lookUpLibraryName")), 42);
    const std::filesystem::path sample = VELTRA_LOOK_UP_SAMPLE;
    const WorkingDirectory directory(sample.parent_path());
    // Without a slash the loader itself would look for it among the system's libraries.
    EXPECT_EQ(called(LoadSymbolFromLibrary(sample.filename().c_str(), "lookUpLibraryName")), 42);
}

TEST(LibrarySymbol, LibraryThatCannotBeOpenedLeavesTheDefaultOrder) {
    const TemporaryFolder folder;
    const std::filesystem::path missing = folder.path() / "missing.so";
    const std::filesystem::path noLibrary = folder.makeFile("text.so", "no library");
    for (const std::filesystem::path& path : {missing, noLibrary, folder.path()}) {
        EXPECT_EQ(called(LoadSymbolFromLibrary(path.c_str(), "lookUpSharedName")), 2) << path;
        EXPECT_EQ(LoadSymbolFromLibrary(path.c_str(), missingName), nullptr) << path;
    }
}

TEST(LibrarySymbol, AllSymbolsOfTheLibraryAreBoundAtOnce) {
    void* const lazily = dlopen(VELTRA_LOOK_UP_UNRESOLVED, RTLD_LAZY);
    ASSERT_NE(lazily, nullptr) << dlerror();
    ASSERT_NE(dlsym(lazily, "lookUpUnresolvedName"), nullptr);
    ASSERT_EQ(dlclose(lazily), 0);
    EXPECT_EQ(LoadSymbolFromLibrary(VELTRA_LOOK_UP_UNRESOLVED, "lookUpUnresolvedName"), nullptr);
}

}  // namespace
