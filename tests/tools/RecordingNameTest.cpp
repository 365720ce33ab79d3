#include <gtest/gtest.h>

#include "record/Failure.h"
#include "record/RecordingName.h"

namespace veltra::testing {

namespace {

TEST(RecordingName, HasTheCommandInPlaceOfThePlaceholders) {
    const struct {
        const char* pattern;
        const char* name;
    } cases[] = {{"recording", "recording"},
                 {"%p", "4711"},
                 {"%n", "program"},
                 {"a/%n-%p.rec", "a/program-4711.rec"},
                 {"%%p", "%p"},
                 {"%p%p%%%n", "47114711%program"},
                 {"", ""}};
    for (const auto& [pattern, name] : cases) {
        EXPECT_EQ(recordingName(pattern, "/usr/bin/program", 4711), name) << pattern;
    }
    EXPECT_EQ(recordingName("%n", "program", 1), "program");
}

TEST(RecordingName, HasNoOtherPlaceholders) {
    for (const std::string pattern : {"%", "a%", "%x", "%P", "%%%", "100% sure"}) {
        try {
            const std::string name = recordingName(pattern, "program", 1);
            FAIL() << name;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitStatus(), 1);
            EXPECT_EQ(failure.what(), "'" + pattern +
                                          "': a percent sign in a file name stands before 'p' "
                                          "(process id), 'n' (name) or another percent sign");
        }
    }
}

}  // namespace

}  // namespace veltra::testing
