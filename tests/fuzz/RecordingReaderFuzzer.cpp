// Feeds arbitrary bytes to the reader of recordings: it takes them the same way in pieces of any
// size, loses nothing of a line that it takes, and whoever shows such lines copes with all of them.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "recording/ConversationTable.h"
#include "recording/EventClock.h"
#include "recording/Formatter.h"
#include "recording/RecordingReader.h"
#include "recording/Summary.h"
#include "recording/escaping.h"
#include "report/TcpStream.h"

namespace {

using veltra::Event;
using veltra::EventAttribute;
using veltra::RecordedLine;
using Type = RecorderMessageAttributeType;

constexpr std::size_t lineLimit = 1000;

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

void appendValue(const EventAttribute& attribute, std::string& line) {
    if (attribute.isNumber()) {
        char digits[17];
        const auto number = attribute.type == Type::signed64
                                ? static_cast<std::uint64_t>(attribute.number)
                                : static_cast<std::uint32_t>(attribute.number);
        std::snprintf(digits, sizeof(digits), "%llx", static_cast<unsigned long long>(number));
        line += digits;
        return;
    }
    for (const char byte : attribute.bytes) {
        const EscapedByte& form = escaped(byte);
        line.append(form.text, form.length);
    }
}

// The line as an agent writes the event.
std::string lineOf(const Event& event) {
    std::string line = "<" + std::string(veltra::kindName(event.kind));
    for (const EventAttribute& attribute : event.attributes()) {
        line += ' ';
        line += veltra::attributeName(attribute.name);
        line += '_';
        line += MARKER_RMAT[static_cast<int>(attribute.type)];
        line += "=\"";
        appendValue(attribute, line);
        line += '"';
    }
    return line + "/>";
}

// Of wide text a recording does not keep every character.
bool hasWideText(const Event& event) {
    for (const EventAttribute& attribute : event.attributes()) {
        if (attribute.type == Type::wideText) return true;
    }
    return false;
}

// What the reader hands out, in words.
std::string outcomeOf(const RecordedLine& line) {
    std::string outcome = std::to_string(line.number) + ' ' + std::string(line.text);
    if (line.event != nullptr) return outcome + " is " + lineOf(*line.event);
    return outcome + ' ' + std::to_string(line.damage->column) + ' ' + line.damage->reason;
}

std::vector<std::string> readInPieces(std::string_view bytes, std::size_t size) {
    std::vector<std::string> outcomes;
    veltra::RecordingReader reader(
        [&](const RecordedLine& line) { outcomes.push_back(outcomeOf(line)); }, lineLimit);
    for (std::size_t i = 0; i < bytes.size(); i += size)
        reader.feed(bytes.substr(i, size));
    reader.endLine();
    return outcomes;
}

void requireReadability(const RecordedLine& line) {
    if (line.event == nullptr) {
        require(line.damage->column >= 1 && line.damage->column <= line.text.size() + 1,
                "damage is within the line");
        for (const char c : line.damage->reason)
            require(c >= ' ' && c <= '~', "a reason can be printed");
    } else if (!hasWideText(*line.event)) {
        require(lineOf(*line.event) == line.text, "nothing is lost of a line");
    }
}

// Whoever takes lines from the reader, fed by one.
class Consumers {
public:
    void take(const RecordedLine& line) {
        json_->append(line, output_);
        require(nlohmann::json::accept(output_), "a line of JSON is JSON");
        output_.clear();
        text_->append(line, output_);
        for (const char c : output_)
            require(c == '\n' || (c >= ' ' && c <= '~'), "text can be printed");
        output_.clear();
        summary_.add(line);
        if (line.event != nullptr) follow(*line.event);
    }

    void finish() { summary_.appendTable(output_); }

private:
    void follow(const Event& event) {
        const std::int64_t time = clock_.timeOf(event).value_or(0);
        auto* const entry = streams_.follow(event);
        if (entry == nullptr) return;
        if (entry->hasBegun) entry->state = veltra::TcpStream(entry->conversation);
        entry->state.follow(event, entry->conversation, time,
                            [this](std::int64_t, const veltra::TcpSegment& segment) {
                                makePacket(segment, packet_);
                                require(packet_.size() >= 40, "a packet has its headers");
                            });
    }

    std::unique_ptr<veltra::Formatter> json_ = makeFormatter(veltra::RecordingFormat::json);
    std::unique_ptr<veltra::Formatter> text_ = makeFormatter(veltra::RecordingFormat::text);
    veltra::Summary summary_;
    veltra::ConversationTable<veltra::TcpStream> streams_;
    veltra::EventClock clock_;
    std::string packet_;
    std::string output_;
};

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's library calls it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto whole = readInPieces(bytes, size + 1);
    require(readInPieces(bytes, 1) == whole, "pieces make no difference");
    require(readInPieces(bytes, 7) == whole, "pieces make no difference");

    Consumers consumers;
    veltra::RecordingReader reader(
        [&](const RecordedLine& line) {
            requireReadability(line);
            consumers.take(line);
        },
        lineLimit);
    reader.feed(bytes);
    reader.endLine();
    consumers.finish();
    return 0;
}
