#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "recording/RecordingReader.h"

namespace veltra::testing {

namespace {

using ::testing::ElementsAre;

// What a reader handed out, a text for each line.
class Lines {
public:
    explicit Lines(std::size_t limit = RecordingReader::longestLine)
        : reader_([this](const RecordedLine& line) { note(line); }, limit) {}

    RecordingReader& reader() { return reader_; }
    const std::vector<std::string>& texts() const { return texts_; }

private:
    void note(const RecordedLine& line) {
        EXPECT_NE(line.event == nullptr, line.damage == nullptr);
        texts_.push_back(std::to_string(line.number) + ' ' + std::string(line.text) + ' ' +
                         (line.damage != nullptr ? line.damage->reason : "sound"));
    }

    RecordingReader reader_;
    std::vector<std::string> texts_;
};

TEST(RecordingReader, CutsLinesOfPiecesOfAnySize) {
    const std::string recording = "<exit/>\n<debug/>\n\n<process/>";
    for (std::size_t size = 1; size <= recording.size(); ++size) {
        Lines lines;
        for (std::size_t i = 0; i < recording.size(); i += size)
            lines.reader().feed(std::string_view(recording).substr(i, size));
        lines.reader().endLine();
        EXPECT_THAT(lines.texts(), ElementsAre("1 <exit/> sound", "2 <debug/> sound",
                                               "3  the line is empty", "4 <process/> sound"))
            << size;
    }
}

TEST(RecordingReader, HandsOutNothingOfNothing) {
    Lines lines;
    lines.reader().feed("");
    lines.reader().endLine();
    lines.reader().endLine();
    EXPECT_THAT(lines.texts(), ElementsAre());
}

TEST(RecordingReader, EndsALineThatCameWithoutItsNewline) {
    Lines lines;
    lines.reader().feed("<exit/>");
    lines.reader().endLine();
    lines.reader().feed("<debug/>\n");
    lines.reader().endLine();
    EXPECT_THAT(lines.texts(), ElementsAre("1 <exit/> sound", "2 <debug/> sound"));
}

TEST(RecordingReader, CountsFromOneAgain) {
    Lines lines;
    lines.reader().feed("<exit/>\n");
    lines.reader().restart();
    lines.reader().feed("<debug/>\n");
    EXPECT_THAT(lines.texts(), ElementsAre("1 <exit/> sound", "1 <debug/> sound"));
}

TEST(RecordingReader, KeepsTheBeginningOfALineThatIsTooLong) {
    const std::string recording = "<debug/>\n<process/>\n<exit/>\n123456789";
    for (const std::size_t size : {1U, 5U, 100U}) {
        Lines lines(8);
        for (std::size_t i = 0; i < recording.size(); i += size)
            lines.reader().feed(std::string_view(recording).substr(i, size));
        lines.reader().endLine();
        EXPECT_THAT(lines.texts(),
                    ElementsAre("1 <debug/> sound", "2 <process the line is longer than 8 bytes",
                                "3 <exit/> sound", "4 12345678 the line is longer than 8 bytes"))
            << size;
    }
}

}  // namespace

}  // namespace veltra::testing
