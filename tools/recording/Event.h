#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recording/messageNames.h"

namespace veltra {

// One attribute of a recorded message.
struct EventAttribute {
    RecorderMessageAttribute name{};
    RecorderMessageAttributeType type{};
    // I4 and I8: signed; U4: unsigned. 0 for the other types.
    std::int64_t number = 0;
    // AS: exactly the recorded bytes. UN: the text in UTF-8; a character above U+00FF, of which a
    // recording keeps the low byte only, is U+FFFD. Empty for numbers.
    std::string bytes;

    bool isNumber() const noexcept {
        return type != RecorderMessageAttributeType::bytes &&
               type != RecorderMessageAttributeType::wideText;
    }
};

// A recorded message taken apart. An event can be filled again and again: its memory is kept.
class Event {
public:
    RecorderMessageKind kind{};

    // The attributes in the order of the line.
    std::span<const EventAttribute> attributes() const noexcept { return {pool_.data(), used_}; }

    // The value of a numeric attribute; nothing where the event has none of this name.
    std::optional<std::int64_t> number(RecorderMessageAttribute name) const noexcept;

    // The bytes of another attribute; null where the event has none of this name. Valid until the
    // event changes.
    const std::string* bytes(RecorderMessageAttribute name) const noexcept;

    bool has(RecorderMessageAttribute name) const noexcept { return find(name) != nullptr; }

    // The process id, which look-ups and mere mentions lack.
    std::optional<std::int64_t> process() const noexcept;
    // The descriptor; for an accept that of the new connection.
    std::optional<std::int64_t> socket() const noexcept;
    // Milliseconds since 1970; nothing where the event carries no time.
    std::optional<std::int64_t> milliseconds() const noexcept;
    // The recorder core's clock in nanoseconds since an epoch of its own, where there was one.
    std::optional<std::int64_t> nanoseconds() const noexcept;
    // The error code of a call that failed.
    std::optional<std::int64_t> error() const noexcept;

    // The bytes that went over the connection. Empty for anything but a send or receive that
    // succeeded, and at the end of the stream. Of a send, all that the program handed over.
    const std::string& payload() const noexcept;

    // Whether a receive found the end of the stream.
    bool isEndOfStream() const noexcept;

    // Back to an event without attributes.
    void clear() noexcept { used_ = 0; }

    // Adds an attribute and returns it, to be filled in.
    EventAttribute& add(RecorderMessageAttribute name, RecorderMessageAttributeType type);

private:
    const EventAttribute* find(RecorderMessageAttribute name) const noexcept;

    std::vector<EventAttribute> pool_;  // the first `used_` are the event's
    std::size_t used_ = 0;
};

// The kind's name as it stands in a recording.
const char* kindName(RecorderMessageKind kind) noexcept;

// The attribute's name as it stands in a recording, without its type.
const char* attributeName(RecorderMessageAttribute name) noexcept;

}  // namespace veltra
