#include "Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "recording/RecordingReader.h"

namespace veltra::testing {

namespace {

RecordedMessage messageOf(const Event& event) {
    RecordedMessage message;
    message.kind = kindName(event.kind);
    for (const EventAttribute& attribute : event.attributes()) {
        const char* const name = attributeName(attribute.name);
        message.values[name] =
            attribute.isNumber() ? std::to_string(attribute.number) : attribute.bytes;
        if (attribute.isNumber()) message.numbers[name] = attribute.number;
    }
    return message;
}

}  // namespace

long long RecordedMessage::number(const std::string& name) const {
    const auto found = numbers.find(name);
    if (found == numbers.end()) {
        ADD_FAILURE() << kind << " has no " << name;
        return -1;
    }
    return found->second;
}

std::vector<RecordedMessage> parseRecording(const std::string& text) {
    std::vector<RecordedMessage> messages;
    RecordingReader reader([&](const RecordedLine& line) {
        if (line.damage == nullptr) {
            messages.push_back(messageOf(*line.event));
        } else {
            ADD_FAILURE() << line.damage->reason << ": " << line.text;
        }
    });
    reader.feed(text);
    reader.endLine();
    return messages;
}

std::string conversationWith(const std::vector<RecordedMessage>& recording, int port,
                             const std::string& kind) {
    std::string data;
    std::set<long long> sockets;
    for (const RecordedMessage& message : recording) {
        if (message.kind == "connect" && message.number("port") == port) {
            sockets.insert(message.number("socket"));
        } else if (message.kind == "close") {
            sockets.erase(message.number("socket"));
        } else if (message.kind == kind && sockets.contains(message.number("socket")) &&
                   !message.values.contains("error") && message.number("length") != 0) {
            data += message.values.at("data");
        }
    }
    return data;
}

std::string kindsOf(const std::vector<RecordedMessage>& recording) {
    std::string kinds;
    for (const RecordedMessage& message : recording)
        kinds += (kinds.empty() ? "" : " ") + message.kind;
    return kinds;
}

long count(const std::vector<RecordedMessage>& recording, const std::string& kind) {
    return std::count_if(recording.begin(), recording.end(),
                         [&](const RecordedMessage& message) { return message.kind == kind; });
}

}  // namespace veltra::testing
