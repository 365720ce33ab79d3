#include "report/PageReport.h"

#include <nlohmann/json.hpp>

#include "recording/byteText.h"
#include "recording/errorText.h"
#include "report/pageTemplate.h"

namespace veltra {

namespace {

using Json = nlohmann::ordered_json;
using Kind = RecorderMessageKind;
using Name = RecorderMessageAttribute;

// JSON that can stand inside a script element: nothing in it can end that or look like mark-up.
std::string embedded(const Json& value) {
    std::string text;
    for (const char c : value.dump(-1, ' ', true, Json::error_handler_t::replace)) {
        if (c == '<' || c == '>' || c == '&') {
            text += "\\u00" + hexDigits(c);
        } else {
            text += c;
        }
    }
    return text;
}

const char* roleOf(const Event& event) {
    if (event.kind == Kind::connect) {
        if (isFailedConnect(event)) return "error";
        return "connect";
    }
    if (event.error()) return "error";
    if (event.isEndOfStream()) return "end";
    return kindName(event.kind);
}

// Everything but what the page shows in another place.
Json factsOf(const Event& event) {
    Json facts = Json::object();
    for (const EventAttribute& attribute : event.attributes()) {
        if (attribute.name == Name::data) continue;
        if (attribute.isNumber()) {
            facts[attributeName(attribute.name)] = attribute.number;
        } else {
            facts[attributeName(attribute.name)] = readable(attribute.bytes);
        }
    }
    if (const auto error = event.error()) facts["error"] = errorText(*error);
    return facts;
}

Json laneOf(const Conversation& conversation) {
    Json lane = {{"process", conversation.process},
                 {"socket", conversation.socket},
                 {"peer", conversation.peer ? conversation.peer->text() : "unknown"}};
    if (conversation.isAccepted) lane["accepted"] = true;
    return lane;
}

}  // namespace

PageReport::PageReport(OutputFile& output, const std::string& title) : output_(output) {
    output_.write(pageBeforeRecording);
    output_.write("{\"title\":" + embedded(readable(title)) + ",\"events\":[\n");
}

// One array element for each event: its lane's number, begin of the lane if this is it, time since
// the start in nanoseconds, what it is, its facts, and its bytes.
void PageReport::add(const RecordedLine& line) {
    if (line.event == nullptr) {
        ++damagedLines_;
        return;
    }
    const Event& event = *line.event;
    if (const auto time = clock_.timeOf(event)) {
        if (!start_) start_ = time;
        latest_ = *time - *start_;
    }
    const auto* const entry = conversations_.follow(event);
    const std::string& payload = event.payload();

    Json object = {{"lane", entry != nullptr ? entry->conversation.number : 0},
                   {"time", latest_},
                   {"line", line.number},
                   {"kind", kindName(event.kind)},
                   {"role", roleOf(event)},
                   {"facts", factsOf(event)}};
    if (entry != nullptr && entry->hasBegun) object["begins"] = laneOf(entry->conversation);
    if (!payload.empty()) {
        object["size"] = payload.size();
        object["bytes"] = base64(std::string_view(payload).substr(0, mostShownBytes));
    }
    output_.write(embedded(object) + ",\n");
}

void PageReport::finish() {
    // The element that stands for no event lets every one before it end with a comma.
    output_.write("null],\"damaged\":" + std::to_string(damagedLines_) + "}\n");
    output_.write(pageAfterRecording);
}

}  // namespace veltra
