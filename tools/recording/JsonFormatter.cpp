#include "recording/JsonFormatter.h"

#include <nlohmann/json.hpp>

#include "recording/byteText.h"

namespace veltra {

namespace {

using Json = nlohmann::ordered_json;

void addBytes(Json& object, const std::string& name, std::string_view bytes) {
    object.push_back({name, bytes});
    if (!isUtf8(bytes)) object.push_back({name + "_base64", base64(bytes)});
}

Json objectOf(const Event& event) {
    Json object = {{"kind", kindName(event.kind)}};
    for (const EventAttribute& attribute : event.attributes()) {
        const char* const name = attributeName(attribute.name);
        if (attribute.isNumber()) {
            object.push_back({name, attribute.number});
        } else {
            addBytes(object, name, attribute.bytes);
        }
    }
    return object;
}

Json objectOf(const RecordedLine& line) {
    Json object = {{"kind", "damaged"},
                   {"line", line.number},
                   {"column", line.damage->column},
                   {"reason", line.damage->reason}};
    addBytes(object, "text", line.text);
    return object;
}

}  // namespace

void JsonFormatter::append(const RecordedLine& line, std::string& output) {
    const Json object = line.event != nullptr ? objectOf(*line.event) : objectOf(line);
    output += object.dump(-1, ' ', false, Json::error_handler_t::replace);
    output += '\n';
}

}  // namespace veltra
