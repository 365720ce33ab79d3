#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "Shell.h"

namespace veltra::testing {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;
using Words = std::vector<std::string>;

Words wordsIn(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string functionOf(std::string program) {
    std::ranges::replace(program, '-', '_');
    return "_" + program;
}

// What bash offers for the words of a command line (cut as bash cuts them), the last of which is to
// be completed. There is a folder "folder", a file "file", and one program in the PATH: "prog".
Words offered(const std::string& words) {
    const std::string program = words.substr(0, words.find(' '));
    const Outcome outcome =
        run("exec bash -c '"
            "mkdir folder; touch file prog; chmod +x prog\n"
            "source \"$SUBJECT/" +
                program +
                ".bash\"\n"
                "COMP_WORDS=(" +
                words +
                "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                "PATH=$PWD; " +
                functionOf(program) + "; echo \"${COMPREPLY[@]}\"'",
            VELTRA_COMPLETIONS);
    EXPECT_EQ(outcome.errors, "") << words;
    return wordsIn(outcome.output);
}

TEST(BashCompletion, OffersOptions) {
    EXPECT_THAT(offered("veltra-record --so"),
                UnorderedElementsAre("--socks", "--socks6", "--socks-timeout"));
    EXPECT_THAT(offered("veltra-record -q -o file --su"), ElementsAre("--summary"));
    EXPECT_THAT(offered("veltra-record -"), Contains("--format"));
}

TEST(BashCompletion, OffersValues) {
    EXPECT_THAT(offered("veltra-record --format \"\""), ElementsAre("lines", "json", "text"));
    EXPECT_THAT(offered("veltra-record --format = j"), ElementsAre("json"));
    EXPECT_THAT(offered("veltra-record --format ="), ElementsAre("lines", "json", "text"));
    EXPECT_THAT(offered("veltra-record -o f"), UnorderedElementsAre("file", "folder"));
    EXPECT_THAT(offered("veltra-record --trace-dir f"), ElementsAre("folder"));
    EXPECT_THAT(offered("veltra-record --trace \"\""), IsEmpty());
}

TEST(BashCompletion, OffersCommands) {
    for (const char* words :
         {"veltra-record pr", "veltra-record -- pr", "veltra-record -q --output = file pr",
          "veltra-record --socks 127.0.0.1 : 1080 pr", "veltra-record -o file -- pr",
          "veltra-record --socks6 [ :: 1] : 1080 --summary pr"}) {
        EXPECT_THAT(offered(words), Contains("prog")) << words;
        EXPECT_THAT(offered(words), Not(Contains("file"))) << words;
    }
}

TEST(BashCompletion, OffersFilesToTheCommand) {
    EXPECT_THAT(offered("veltra-record prog fi"), ElementsAre("file"));
    EXPECT_THAT(offered("veltra-record -- prog --fi"), IsEmpty());
    EXPECT_THAT(offered("veltra-record -o x prog -o fi"), ElementsAre("file"));
}

TEST(BashCompletion, LeavesTheCommandToItsOwnCompletion) {
    const Outcome outcome =
        run("exec bash -c '"
            "source \"$SUBJECT/veltra-record.bash\"; _command_offset() { echo \"the command is "
            "word $1\"; }\n"
            "COMP_WORDS=(veltra-record -q -o x -- prog -); COMP_CWORD=6; _veltra_record'",
            VELTRA_COMPLETIONS);
    EXPECT_EQ(outcome.output, "the command is word 5\n");
}

TEST(BashCompletion, OffersReports) {
    EXPECT_THAT(offered("veltra-report \"\""),
                ElementsAre("summary", "text", "json", "pcap", "html"));
    EXPECT_THAT(offered("veltra-report -o text p"), ElementsAre("pcap"));
    EXPECT_THAT(offered("veltra-report --v"), ElementsAre("--version"));
}

TEST(BashCompletion, OffersRecordings) {
    for (const char* words : {"veltra-report text fi", "veltra-report -o fi",
                              "veltra-report json -o x -- y fi", "veltra-report --output = fi"}) {
        EXPECT_THAT(offered(words), ElementsAre("file")) << words;
    }
    EXPECT_THAT(offered("veltra-report --output ="), Contains("folder"));
}

TEST(BashCompletion, IsForTheProgram) {
    for (const std::string program : {"veltra-record", "veltra-report"}) {
        EXPECT_EQ(run("exec bash -c 'source \"$SUBJECT\"; complete -p " + program + "'",
                      VELTRA_COMPLETIONS "/" + program + ".bash")
                      .output,
                  "complete -o filenames -F " + functionOf(program) + " " + program + "\n");
    }
}

}  // namespace

}  // namespace veltra::testing
