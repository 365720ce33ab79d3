#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "recording/ConversationTable.h"
#include "recording/RecordingReader.h"

namespace veltra::testing {

namespace {

using ::testing::ElementsAre;

struct Nothing {};

// For each line: the number of its conversation, "b" if it began and "e" if it ended with it, or
// "-" if it belongs to none.
std::vector<std::string> followed(std::string_view recording) {
    ConversationTable<Nothing> table;
    std::vector<std::string> results;
    RecordingReader reader([&](const RecordedLine& line) {
        const auto* const entry = table.follow(*line.event);
        results.push_back(entry == nullptr
                              ? "-"
                              : std::to_string(entry->conversation.number) +
                                    (entry->hasBegun ? "b" : "") + (entry->hasEnded ? "e" : ""));
    });
    reader.feed(recording);
    return results;
}

TEST(ConversationTable, TellsSocketsAndProcessesApart) {
    EXPECT_THAT(followed("<connect pid_I4=\"1\" socket_I8=\"3\"/>\n"
                         "<connect pid_I4=\"2\" socket_I8=\"3\"/>\n"
                         "<connect pid_I4=\"1\" socket_I8=\"4\"/>\n"
                         "<send pid_I4=\"2\" socket_I8=\"3\"/>\n"
                         "<send pid_I4=\"1\" socket_I8=\"3\"/>\n"
                         "<receive pid_I4=\"1\" socket_I8=\"4\" length_I4=\"1\"/>\n"),
                ElementsAre("1b", "2b", "3b", "2", "1", "3"));
}

TEST(ConversationTable, KnowsThatANumberIsUsedAgain) {
    EXPECT_THAT(followed("<connect socket_I8=\"3\"/>\n<send socket_I8=\"3\"/>\n"
                         "<close socket_I8=\"3\"/>\n<close socket_I8=\"3\"/>\n"
                         "<connect socket_I8=\"3\"/>\n<connect socket_I8=\"3\"/>\n"
                         "<accept socket_I8=\"3\"/>\n"),
                ElementsAre("1b", "1", "1e", "-", "2b", "3b", "4b"));
}

TEST(ConversationTable, TakesAConnectThatIsUnderWayForOne) {
    const std::string connect =
        "<connect socket_I8=\"3\" ip_AS=\"10.0.0.1\" port_I4=\"50\" error_I4=";
    EXPECT_THAT(followed(connect + "\"73\"/>\n" + connect + "\"72\"/>\n" + connect + "\"6a\"/>\n" +
                         connect + "\"6a\"/>\n"),
                ElementsAre("1b", "1", "1", "2b"));
    EXPECT_THAT(followed(connect + "\"73\"/>\n" + connect + "\"6f\"/>\n" + connect + "\"73\"/>\n"),
                ElementsAre("1b", "1e", "2b"));
    EXPECT_THAT(followed(connect + "\"73\"/>\n<receive socket_I8=\"3\" error_I4=\"6b\"/>\n" +
                         connect + "\"73\"/>\n<send socket_I8=\"3\"/>\n" + connect + "\"73\"/>\n"),
                ElementsAre("1b", "1", "1", "1", "2b"));
    EXPECT_THAT(followed(connect + "\"73\"/>\n<connect socket_I8=\"3\" ip_AS=\"10.0.0.2\" "
                                   "port_I4=\"50\"/>\n"),
                ElementsAre("1b", "2b"));
}

TEST(ConversationTable, EndsAFailedConnectAtOnce) {
    EXPECT_THAT(followed("<connect socket_I8=\"3\" error_I4=\"6f\"/>\n<close socket_I8=\"3\"/>\n"),
                ElementsAre("1be", "-"));
}

TEST(ConversationTable, ForgetsWhatAProcessOfTheSameNumberHad) {
    EXPECT_THAT(followed("<connect pid_I4=\"1\" socket_I8=\"3\"/>\n"
                         "<connect pid_I4=\"2\" socket_I8=\"3\"/>\n<process pid_I4=\"1\"/>\n"
                         "<close pid_I4=\"1\" socket_I8=\"3\"/>\n"
                         "<close pid_I4=\"2\" socket_I8=\"3\"/>\n"),
                ElementsAre("1b", "2b", "-", "-", "2e"));
}

TEST(ConversationTable, LeavesOutWhatIsNoPartOfAConversation) {
    EXPECT_THAT(followed("<addrinfo name_AS=\"a\"/>\n<debug socket_I8=\"3\"/>\n<exit/>\n"
                         "<send socket_I8=\"3\"/>\n"),
                ElementsAre("-", "-", "-", "1b"));
}

}  // namespace

}  // namespace veltra::testing
