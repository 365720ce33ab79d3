#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "entry/crashHandler.h"

namespace {

// The parts one after the other, pointers as printf's %p shows them.
template <typename... Parts>
std::string joined(const Parts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

struct Displayed {
    std::string text;
    int result;
};

Displayed displayed(void* address) {
    testing::internal::CaptureStdout();
    const int result = DisplaySymbol(address);
    return {testing::internal::GetCapturedStdout(), result};
}

void expectDisplayed(void* address, const std::string& text) {
    const Displayed given = displayed(address);
    EXPECT_EQ(given.text, text);
    EXPECT_EQ(given.result, static_cast<int>(text.size()));
}

TEST(DisplaySymbol, NamesSymbolAndLibrary) {
    void* const symbol = dlsym(RTLD_DEFAULT, "strtol");
    Dl_info info;
    ASSERT_NE(dladdr(symbol, &info), 0);
    void* const inside = static_cast<char*>(symbol) + 1;
    expectDisplayed(inside, joined(" ", inside, " => ", info.dli_sname, "  (", symbol, ") from ",
                                   info.dli_fname, " (base ", info.dli_fbase, ")\n"));
}

TEST(DisplaySymbol, NamesTheLibraryAlone) {
    Dl_info info;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&strtol), &info), 0);
    // The file's header, where no symbol is.
    expectDisplayed(info.dli_fbase, joined(" ", info.dli_fbase, " => from ", info.dli_fname,
                                           " (base ", info.dli_fbase, ")\n"));
}

TEST(DisplaySymbol, IsSilentOutsideOfLibraries) {
    int local = 0;
    expectDisplayed(nullptr, "");
    expectDisplayed(&local, "");
}

void previousHandler(int) {}

// The flags that an application can set: the C library adds one of its own.
int flagsOf(const struct sigaction& action) {
    return action.sa_flags &
           (SA_SIGINFO | SA_RESTART | SA_ONSTACK | SA_NODEFER | static_cast<int>(SA_RESETHAND));
}

TEST(CrashHandler, TakesTheSegmentationFaultAloneAndGivesItBack) {
    struct sigaction mine {};
    mine.sa_handler = &previousHandler;
    mine.sa_flags = SA_RESTART;
    ASSERT_EQ(sigaction(SIGSEGV, &mine, nullptr), 0);
    struct sigaction others[3];
    const int otherSignals[] = {SIGBUS, SIGFPE, SIGABRT};
    for (int i = 0; i < 3; ++i)
        sigaction(otherSignals[i], nullptr, &others[i]);

    struct sigaction previous {};
    EXPECT_EQ(active_handler(&previous), 0);
    EXPECT_EQ(previous.sa_handler, &previousHandler);

    struct sigaction installed {};
    sigaction(SIGSEGV, nullptr, &installed);
    EXPECT_EQ(flagsOf(installed), SA_SIGINFO);
    for (int number = 1; number < NSIG; ++number)
        EXPECT_NE(sigismember(&installed.sa_mask, number), 1) << number;
    for (int i = 0; i < 3; ++i) {
        struct sigaction now {};
        sigaction(otherSignals[i], nullptr, &now);
        EXPECT_EQ(now.sa_handler, others[i].sa_handler);
    }

    EXPECT_EQ(restore_handler(&previous), 0);
    sigaction(SIGSEGV, nullptr, &installed);
    EXPECT_EQ(installed.sa_handler, &previousHandler);
    EXPECT_EQ(flagsOf(installed), SA_RESTART);
}

}  // namespace
