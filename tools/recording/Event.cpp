#include "recording/Event.h"

#include <algorithm>

namespace veltra {

using Name = RecorderMessageAttribute;

std::optional<std::int64_t> Event::number(Name name) const noexcept {
    const EventAttribute* const found = find(name);
    if (found == nullptr || !found->isNumber()) return std::nullopt;
    return found->number;
}

const std::string* Event::bytes(Name name) const noexcept {
    const EventAttribute* const found = find(name);
    return found == nullptr || found->isNumber() ? nullptr : &found->bytes;
}

std::optional<std::int64_t> Event::process() const noexcept {
    return number(Name::pid);
}

std::optional<std::int64_t> Event::socket() const noexcept {
    return number(Name::socket);
}

std::optional<std::int64_t> Event::milliseconds() const noexcept {
    const auto stamp = number(Name::timestamp);
    // A process's first message has the time 0, which stands for none.
    return stamp == 0 ? std::nullopt : stamp;
}

std::optional<std::int64_t> Event::nanoseconds() const noexcept {
    return number(Name::timestampNs);
}

std::optional<std::int64_t> Event::error() const noexcept {
    return number(Name::error);
}

const std::string& Event::payload() const noexcept {
    static const std::string none;
    if (kind != RecorderMessageKind::send && kind != RecorderMessageKind::receive) return none;
    // A receive that failed or found the end shows what the program's buffer held before.
    const bool failed = has(Name::error) || (kind == RecorderMessageKind::receive &&
                                             number(Name::length).value_or(0) <= 0);
    const std::string* const data = bytes(Name::data);
    return failed || data == nullptr ? none : *data;
}

bool Event::isEndOfStream() const noexcept {
    return kind == RecorderMessageKind::receive && !has(Name::error) && number(Name::length) == 0;
}

EventAttribute& Event::add(Name name, RecorderMessageAttributeType type) {
    if (used_ == pool_.size()) pool_.emplace_back();
    EventAttribute& attribute = pool_[used_++];
    attribute.name = name;
    attribute.type = type;
    attribute.number = 0;
    attribute.bytes.clear();
    return attribute;
}

const EventAttribute* Event::find(Name name) const noexcept {
    const auto all = attributes();
    const auto found = std::ranges::find(all, name, &EventAttribute::name);
    return found == all.end() ? nullptr : &*found;
}

const char* kindName(RecorderMessageKind kind) noexcept {
    return MARKER_RMT[static_cast<int>(kind)];
}

const char* attributeName(RecorderMessageAttribute name) noexcept {
    return ATTRIBUTE_VELTRA[static_cast<int>(name)];
}

}  // namespace veltra
