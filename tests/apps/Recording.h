#pragma once

#include <map>
#include <string>
#include <vector>

namespace veltra::testing {

// A recorded message taken apart.
struct RecordedMessage {
    std::string kind;
    // By name without type.
    std::map<std::string, std::string> values;  // all; numbers in decimal
    std::map<std::string, long long> numbers;

    // A numeric attribute; fails the test and gives -1 where it is missing.
    long long number(const std::string& name) const;
};

// Takes a recording apart, line by line. A line that is no message fails the test.
std::vector<RecordedMessage> parseRecording(const std::string& text);

// What was sent, respectively received, on the sockets connected to `port`: the data of all their
// messages of one kind ("send", "receive"), in the recording's order, as far as the calls
// succeeded.
std::string conversationWith(const std::vector<RecordedMessage>& recording, int port,
                             const std::string& kind);

// The kinds of all messages, one after the other, with a blank between.
std::string kindsOf(const std::vector<RecordedMessage>& recording);

// How many messages are of this kind.
long count(const std::vector<RecordedMessage>& recording, const std::string& kind);

}  // namespace veltra::testing
