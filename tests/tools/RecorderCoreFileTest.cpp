#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "preload/ElfFile.h"

namespace veltra::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// It is loaded into programs that nobody here knows.
TEST(RecorderCoreFile, IsTheClockAndNothingElse) {
    const ElfFile file(VELTRA_CORE_LIBRARY);
    EXPECT_THAT(file.exportedNames(), ElementsAre("currentTime"));
    EXPECT_THAT(file.neededLibraries(), ElementsAre("libc.so.6"));
    for (const std::int64_t tag : {DT_INIT, DT_FINI, DT_INIT_ARRAY, DT_FINI_ARRAY}) {
        EXPECT_THAT(file.dynamicValues(tag), IsEmpty()) << "tag " << tag;
    }
}

}  // namespace

}  // namespace veltra::testing
