#include "recording/TextFormatter.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "recording/byteText.h"
#include "recording/errorText.h"

namespace veltra {

namespace {

using Kind = RecorderMessageKind;
using Name = RecorderMessageAttribute;

constexpr std::size_t timeWidth = 12;
constexpr std::size_t processWidth = 8;
constexpr std::size_t socketWidth = 5;
constexpr std::size_t peerWidth = 21;
constexpr std::size_t sizeWidth = 9;
constexpr std::size_t contentWidth = 60;
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

void appendRight(std::string& line, std::size_t width, std::string_view word) {
    if (word.size() < width) line.append(width - word.size(), ' ');
    line += word;
}

void appendLeft(std::string& line, std::size_t width, std::string_view word) {
    line += word;
    if (word.size() < width) line.append(width - word.size(), ' ');
}

std::string numberOrDash(std::optional<std::int64_t> number) {
    return number ? std::to_string(*number) : "-";
}

std::string textOf(const Event& event, Name name) {
    const std::string* const bytes = event.bytes(name);
    return bytes != nullptr ? readable(*bytes) : "";
}

const char* arrowOf(const Event& event) {
    switch (event.kind) {
        case Kind::connect:
            return "=>";
        case Kind::accept:
            return "<=";
        case Kind::send:
            return "->";
        case Kind::receive:
            return "<-";
        case Kind::close:
            return "><";
        default:
            return "--";
    }
}

std::string durationText(const Event& event) {
    std::array<char, 48> text{};
    if (const auto nanoseconds = event.number(Name::durationNs)) {
        std::snprintf(text.data(), text.size(), " in %.3f ms",
                      static_cast<double>(*nanoseconds) / 1e6);
    } else if (const auto milliseconds = event.number(Name::duration)) {
        std::snprintf(text.data(), text.size(), " in %lld ms",
                      static_cast<long long>(*milliseconds));
    }
    return text.data();
}

std::string connectText(const Event& event) {
    if (isFailedConnect(event)) return "failed: " + errorText(*event.error());
    if (isStillConnecting(event)) return "connecting";
    return "connected" + durationText(event);
}

std::string dataText(const Event& event) {
    if (event.error()) return "failed: " + errorText(*event.error());
    if (event.isEndOfStream()) return "end of stream";
    return readable(event.payload(), contentWidth);
}

std::string whatHappened(const Event& event) {
    switch (event.kind) {
        case Kind::process:
            return "process in " + textOf(event, Name::workingdir);
        case Kind::addrinfo:
            return textOf(event, Name::name) + " is " +
                   (event.has(Name::ip) ? textOf(event, Name::ip) : textOf(event, Name::family));
        case Kind::connect:
            return connectText(event);
        case Kind::accept:
            return "accepted on " + numberOrDash(event.number(Name::from));
        case Kind::send:
        case Kind::receive:
            return dataText(event);
        case Kind::close:
            return "closed";
        case Kind::notrecorded:
            return textOf(event, Name::name) + " called";
        default:
            return kindName(event.kind);
    }
}

std::string sizeColumn(const Event& event) {
    if (event.kind != Kind::send && event.kind != Kind::receive) return "";
    return event.error() ? "" : std::to_string(event.payload().size());
}

}  // namespace

void TextFormatter::append(const RecordedLine& line, std::string& output) {
    if (line.damage != nullptr) {
        output += "line " + std::to_string(line.number) + " is damaged at column " +
                  std::to_string(line.damage->column) + ": " + line.damage->reason + '\n';
        return;
    }
    const Event& event = *line.event;
    const auto* const entry = conversations_.follow(event);
    const bool hasPeer = entry != nullptr && entry->conversation.peer;

    appendRight(output, timeWidth, timeColumn(event));
    appendRight(output, processWidth, numberOrDash(event.process()));
    appendRight(output, socketWidth, numberOrDash(event.socket()));
    output += ' ';
    output += arrowOf(event);
    output += ' ';
    appendLeft(output, peerWidth, hasPeer ? entry->conversation.peer->text() : "-");
    appendRight(output, sizeWidth, sizeColumn(event));
    output += "  ";
    output += whatHappened(event);
    while (output.back() == ' ')
        output.pop_back();
    output += '\n';
}

// As exact as the event's stamp is.
std::string TextFormatter::timeColumn(const Event& event) {
    const auto time = clock_.timeOf(event);
    if (!time) return "-";
    if (!start_) start_ = time;
    const auto elapsed = static_cast<double>(*time - *start_) / nanosecondsPerSecond;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), event.nanoseconds() ? "%.6f" : "%.3f   ", elapsed);
    return text.data();
}

}  // namespace veltra
