#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ElfFile.h"

namespace veltra::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class BuiltLibrary : public ::testing::Test {
protected:
    const ElfFile library_{VELTRA_AGENT_LIBRARY};
};

TEST_F(BuiltLibrary, NeedsNothingButTheCLibrary) {
    EXPECT_THAT(library_.neededLibraries(), ElementsAre("libc.so.6"));
}

TEST_F(BuiltLibrary, ExportsExactlyTheseNames) {
    std::vector<std::string> names = {"socket",
                                      "bind",
                                      "listen",
                                      "accept",
                                      "close",
                                      "connect",
                                      "read",
                                      "write",
                                      "send",
                                      "recv",
                                      "sendmsg",
                                      "recvmsg",
                                      "sendto",
                                      "recvfrom",
                                      "getaddrinfo",
                                      "select",
                                      "pselect",
                                      "setsockopt",
                                      "getsockopt",
                                      "getsockname",
                                      "getpeername",
                                      "dlsym",

                                      "Directsocket",
                                      "Directbind",
                                      "Directlisten",
                                      "Directaccept",
                                      "Directclose",
                                      "Directconnect",
                                      "Directread",
                                      "Directwrite",
                                      "Directsend",
                                      "Directrecv",
                                      "Directsendmsg",
                                      "Directrecvmsg",
                                      "Directsendto",
                                      "Directrecvfrom",
                                      "Directgetaddrinfo",
                                      "Directselect",
                                      "Directpselect",
                                      "Directsetsockopt",
                                      "Directgetsockopt",
                                      "Directgetsockname",
                                      "Directgetpeername",

                                      "end",
                                      "cleanSocketPointers",
                                      "getAgentInterface",
                                      "isOptionalSocketHook",
                                      "isOptionalSocketHook2",
                                      "sendNotHookedBadArchi",
                                      "_ZN14AgentInterface16emitEndOfProcessEPKcS1_x",

                                      "Mygethostbyname",
                                      "Mygethostname",
                                      "Mygetservbyport",
                                      "Mygetservbyname",
                                      "Mygetaddrinfo",

                                      "globalInit",
                                      "socksModeActive",
                                      "socksDisplayMode",
                                      "allLocalAdresses",
                                      "debugSocket",
                                      "debugIpVal",
                                      "debugPortVal",
                                      "debugServerActive",
                                      "initializationDone"};
    std::sort(names.begin(), names.end());
    EXPECT_EQ(library_.exportedNames(), names);
}

TEST_F(BuiltLibrary, RunsNothingWhenItIsLoadedOrUnloaded) {
    for (const std::int64_t tag :
         {DT_INIT, DT_FINI, DT_INIT_ARRAY, DT_FINI_ARRAY, DT_PREINIT_ARRAY}) {
        EXPECT_THAT(library_.dynamicValues(tag), IsEmpty()) << "tag " << tag;
    }
}

TEST_F(BuiltLibrary, IsFullyRelocatedBeforeItRunsAndReadOnlyThen) {
    EXPECT_THAT(library_.segments(PT_GNU_RELRO), SizeIs(1));
    const auto flags = library_.dynamicValues(DT_FLAGS);
    ASSERT_THAT(flags, SizeIs(1));
    EXPECT_NE(flags[0] & DF_BIND_NOW, 0u);
    const auto moreFlags = library_.dynamicValues(DT_FLAGS_1);
    ASSERT_THAT(moreFlags, SizeIs(1));
    EXPECT_NE(moreFlags[0] & DF_1_NOW, 0u);
}

TEST_F(BuiltLibrary, BindsItsOwnNamesInsideItself) {
    EXPECT_NE(library_.dynamicValues(DT_FLAGS).at(0) & DF_SYMBOLIC, 0u);
}

TEST_F(BuiltLibrary, HasNoExecutableStack) {
    const auto stacks = library_.segments(PT_GNU_STACK);
    ASSERT_THAT(stacks, SizeIs(1));
    EXPECT_EQ(stacks[0].p_flags & PF_X, 0u);
}

TEST_F(BuiltLibrary, HasNoSegmentThatIsBothWritableAndExecutable) {
    for (const Elf64_Phdr& segment : library_.segments(PT_LOAD)) {
        EXPECT_NE(segment.p_flags & (PF_W | PF_X), unsigned{PF_W | PF_X}) << segment.p_vaddr;
    }
}

TEST_F(BuiltLibrary, HasNoRelocationsInItsCode) {
    EXPECT_THAT(library_.dynamicValues(DT_TEXTREL), IsEmpty());
    EXPECT_EQ(library_.dynamicValues(DT_FLAGS).at(0) & DF_TEXTREL, 0u);
}

}  // namespace

}  // namespace veltra::testing
