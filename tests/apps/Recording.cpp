#include "Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>

namespace veltra::testing {

namespace {

char byteOf(const std::string& digits) {
    return static_cast<char>(std::stoi(digits, nullptr, 16));
}

std::string unescaped(const std::string& value) {
    std::string bytes;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '&') {
            bytes += byteOf(value.substr(i + 3, 2));
            i += 5;
        } else if (value[i] == '\\' && value[i + 1] == 'x') {
            bytes += byteOf(value.substr(i + 2, 2));
            i += 3;
        } else if (value[i] == '\\') {
            bytes += '\\';
            ++i;
        } else {
            bytes += value[i];
        }
    }
    return bytes;
}

// Takes ` name_TYPE="value"` at `position` apart. Returns the position behind it, or npos.
std::size_t parseAttribute(const std::string& line, std::size_t position,
                           RecordedMessage& message) {
    const std::size_t quote = line.find("=\"", position);
    if (line[position] != ' ' || quote == std::string::npos || quote < position + 5) {
        return std::string::npos;
    }
    const std::size_t end = line.find('"', quote + 2);
    if (end == std::string::npos) return end;
    const std::string type = line.substr(quote - 3, 3);
    if (type != "_I4" && type != "_U4" && type != "_I8" && type != "_AS") return std::string::npos;
    message.values[line.substr(position + 1, quote - 3 - position - 1)] =
        unescaped(line.substr(quote + 2, end - quote - 2));
    return end + 1;
}

RecordedMessage parseMessage(const std::string& line) {
    RecordedMessage message;
    std::size_t position = line.find_first_of(" /");
    if (line.empty() || line[0] != '<' || position == std::string::npos) position = line.size();
    message.kind = line.substr(std::min<std::size_t>(1, line.size()), position - 1);
    while (position != std::string::npos && line.compare(position, std::string::npos, "/>") != 0) {
        position =
            position < line.size() ? parseAttribute(line, position, message) : std::string::npos;
    }
    if (position == std::string::npos) ADD_FAILURE() << "not a message: " << line;
    return message;
}

}  // namespace

long long RecordedMessage::number(const std::string& name) const {
    const auto found = values.find(name);
    if (found == values.end()) {
        ADD_FAILURE() << kind << " has no " << name;
        return -1;
    }
    return static_cast<long long>(std::strtoull(found->second.c_str(), nullptr, 16));
}

std::vector<RecordedMessage> parseRecording(const std::string& text) {
    std::vector<RecordedMessage> messages;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        messages.push_back(parseMessage(line));
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
