#include "record/Counts.h"

namespace veltra {

namespace {

std::string counted(std::uint64_t number, const char* thing) {
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

}  // namespace

void Counts::add(std::string_view message) noexcept {
    ++messages;
    bytes += message.size();
    if (message.starts_with("<connect ") || message.starts_with("<accept ")) ++connections;
}

std::string Counts::text() const {
    return counted(messages, "message") + ", " + counted(bytes, "byte") + ", " +
           counted(connections, "connection");
}

}  // namespace veltra
