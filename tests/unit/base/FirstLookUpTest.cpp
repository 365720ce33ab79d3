#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ScriptedLoader.h"
#include "base/utils.h"
#include "scriptedDlsym.h"
#include "support/FreshProcess.h"

// The look-up is set up once in a process, so that every test here has a process of its own.

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using veltra::testing::inFreshProcess;

int object = 0;

// The name under which the dynamic linker knows the program.
std::string ownFile() {
    Dl_info self = {};
    EXPECT_NE(dladdr(reinterpret_cast<const void*>(&Truedlsym), &self), 0);
    return self.dli_fname;
}

TEST(FirstLookUp, ByDefaultAsksTheAgent) {
    inFreshProcess([] {
        EXPECT_EQ(agentLibraryHandle(), nullptr);
        scriptedHandle = agentHandle;
        scriptedAnswer = &object;
        EXPECT_EQ(Truedlsym(RTLD_DEFAULT, "first"), &object);
        EXPECT_EQ(agentLibraryHandle(), agentHandle);
        EXPECT_EQ(Truedlsym(RTLD_DEFAULT, "second"), nullptr);
        EXPECT_THAT(scriptedLookUps,
                    ElementsAre(LookUp{agentHandle, "first"}, LookUp{RTLD_DEFAULT, "second"}));
    });
}

TEST(FirstLookUp, ByDefaultAsksTheGlobalOrderWhenTheAgentCannotBeOpened) {
    inFreshProcess([] {
        scriptedLoader.openedAgent = nullptr;
        Truedlsym(RTLD_DEFAULT, "first");
        EXPECT_EQ(agentLibraryHandle(), nullptr);
        EXPECT_THAT(scriptedLookUps, ElementsAre(LookUp{RTLD_DEFAULT, "first"}));
    });
}

TEST(FirstLookUp, KeepsEveryOtherHandle) {
    for (void* const handle : {RTLD_NEXT, otherHandle}) {
        inFreshProcess([handle] {
            scriptedHandle = handle;
            scriptedAnswer = &object;
            EXPECT_EQ(Truedlsym(handle, "first"), &object);
            EXPECT_EQ(Truedlsym(RTLD_DEFAULT, "second"), nullptr);
            EXPECT_THAT(scriptedLookUps,
                        ElementsAre(LookUp{handle, "first"}, LookUp{RTLD_DEFAULT, "second"}));
        });
    }
}

TEST(FirstLookUp, OpensTheLinkersLibraryAndTheAgentOnce) {
    inFreshProcess([] {
        const std::string file = ownFile();
        Truedlsym(RTLD_NEXT, "first");
        Truedlsym(RTLD_NEXT, "second");
        EXPECT_THAT(scriptedLoader.opened,
                    ElementsAre(OpenedLibrary{"libdl.so", RTLD_LAZY},
                                OpenedLibrary{file, RTLD_LAZY | RTLD_NOLOAD}));
        EXPECT_EQ(scriptedLoader.versionedLookUps.size(), 1U);
    });
}

TEST(FirstLookUp, NeverLooksDlsymUpThroughANullHandle) {
    inFreshProcess([] {
        scriptedLoader.newDlsymNext = nullptr;
        Truedlsym(RTLD_NEXT, "first");
        EXPECT_THAT(scriptedLoader.versionedLookUps,
                    ElementsAre(VersionedLookUp{RTLD_NEXT, "dlsym", "GLIBC_2.34"},
                                VersionedLookUp{RTLD_NEXT, "dlsym", "GLIBC_2.2.5"}));
        EXPECT_THAT(scriptedLookUps, ElementsAre(LookUp{RTLD_NEXT, "first"}));
    });
}

TEST(FirstLookUp, PrefersTheLinkersLibrary) {
    inFreshProcess([] {
        scriptedLoader.openedLibdl = libdlHandle;
        scriptedLoader.newDlsymInLibdl = reinterpret_cast<void*>(&scriptedDlsym);
        Truedlsym(RTLD_NEXT, "first");
        EXPECT_THAT(scriptedLoader.versionedLookUps,
                    ElementsAre(VersionedLookUp{RTLD_NEXT, "dlsym", "GLIBC_2.34"},
                                VersionedLookUp{libdlHandle, "dlsym", "GLIBC_2.34"}));
        EXPECT_THAT(scriptedLookUps, ElementsAre(LookUp{RTLD_NEXT, "first"}));
    });
}

TEST(FirstLookUp, GoesOnWhereTheLinkersLibraryHasNoDlsym) {
    inFreshProcess([] {
        scriptedLoader.openedLibdl = libdlHandle;
        Truedlsym(RTLD_NEXT, "first");
        EXPECT_THAT(scriptedLoader.versionedLookUps,
                    ElementsAre(VersionedLookUp{RTLD_NEXT, "dlsym", "GLIBC_2.34"},
                                VersionedLookUp{libdlHandle, "dlsym", "GLIBC_2.34"},
                                VersionedLookUp{libdlHandle, "dlsym", "GLIBC_2.2.5"}));
        EXPECT_THAT(scriptedLookUps, ElementsAre(LookUp{RTLD_NEXT, "first"}));
    });
}

TEST(FirstLookUp, RefusesADlsymOfTheAgentsOwn) {
    inFreshProcess([] {
        scriptedLoader.newDlsymNext = &object;
        scriptedHandle = RTLD_NEXT;
        scriptedAnswer = &scriptedAnswer;
        EXPECT_EQ(Truedlsym(RTLD_NEXT, "first"), &scriptedAnswer);
        EXPECT_THAT(scriptedLookUps, ElementsAre(LookUp{RTLD_NEXT, "first"}));
    });
}

TEST(FirstLookUp, IsTriedAgainUntilThereIsADlsym) {
    inFreshProcess([] {
        scriptedLoader.newDlsymNext = nullptr;
        scriptedLoader.oldDlsymNext = nullptr;
        EXPECT_EQ(Truedlsym(RTLD_NEXT, "first"), nullptr);
        EXPECT_EQ(GetProcAddress(RTLD_NEXT, "second"), nullptr);
        EXPECT_EQ(MyGetProcAddr("third"), nullptr);
        EXPECT_THAT(scriptedLookUps, IsEmpty());
        scriptedLoader.oldDlsymNext = reinterpret_cast<void*>(&scriptedDlsym);
        scriptedHandle = RTLD_NEXT;
        scriptedAnswer = &object;
        EXPECT_EQ(Truedlsym(RTLD_NEXT, "fourth"), &object);
    });
}

TEST(FirstLookUp, WorksWhenTheLinkerDoesNotKnowTheAgent) {
    inFreshProcess([] {
        scriptedLoader.knowsTheAgent = false;
        scriptedHandle = RTLD_NEXT;
        scriptedAnswer = &object;
        EXPECT_EQ(Truedlsym(RTLD_NEXT, "first"), &object);
        EXPECT_EQ(agentLibraryHandle(), nullptr);
        EXPECT_THAT(scriptedLoader.opened, ElementsAre(OpenedLibrary{"libdl.so", RTLD_LAZY}));
    });
}

TEST(LookUpOrder, TheHandleComesBeforeTheDefault) {
    inFreshProcess([] {
        Truedlsym(RTLD_NEXT, "first");
        scriptedLookUps.clear();
        EXPECT_EQ(GetProcAddress(otherHandle, "one"), nullptr);
        EXPECT_EQ(MyGetProcAddr("two"), nullptr);
        EXPECT_THAT(scriptedLookUps,
                    ElementsAre(LookUp{otherHandle, "one"}, LookUp{RTLD_DEFAULT, "one"},
                                LookUp{RTLD_NEXT, "two"}, LookUp{RTLD_DEFAULT, "two"}));
    });
}

TEST(LookUpOrder, TheFirstAnswerCounts) {
    inFreshProcess([] {
        Truedlsym(RTLD_NEXT, "first");
        scriptedLookUps.clear();
        scriptedAnswer = &object;
        scriptedHandle = otherHandle;
        EXPECT_EQ(GetProcAddress(otherHandle, "one"), &object);
        scriptedHandle = RTLD_NEXT;
        EXPECT_EQ(MyGetProcAddr("two"), &object);
        EXPECT_THAT(scriptedLookUps,
                    ElementsAre(LookUp{otherHandle, "one"}, LookUp{RTLD_NEXT, "two"}));
        scriptedHandle = RTLD_DEFAULT;
        EXPECT_EQ(GetProcAddress(otherHandle, "three"), &object);
        EXPECT_EQ(MyGetProcAddr("four"), &object);
    });
}

TEST(LookUpOrder, LibraryIsOpenedByItsRealPathWithAllSymbolsBound) {
    inFreshProcess([] {
        Truedlsym(RTLD_NEXT, "first");
        scriptedLookUps.clear();
        scriptedLoader.opened.clear();
        const std::string real = std::filesystem::canonical("/proc/self/exe");
        LoadSymbolFromLibrary("/proc/self/../self/exe", "one");
        scriptedLoader.openedAgent = nullptr;
        LoadSymbolFromLibrary("/missing/library.so", "two");
        EXPECT_THAT(scriptedLoader.opened,
                    ElementsAre(OpenedLibrary{real, RTLD_NOW}, OpenedLibrary{"(null)", RTLD_NOW}));
        EXPECT_THAT(scriptedLookUps,
                    ElementsAre(LookUp{agentHandle, "one"}, LookUp{nullptr, "two"}));
    });
}

}  // namespace
