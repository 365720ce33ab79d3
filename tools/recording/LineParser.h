#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "recording/Event.h"

namespace veltra {

// Why a line is no message.
struct Damage {
    std::size_t column = 0;  // the first byte that cannot be right, counted from 1
    std::string reason;      // in words, without any byte of the line that could not be printed
};

// Takes a line of a recording, without its newline, apart into `event`, whose former content is
// lost. A line is taken only if it is exactly as an agent writes it, so that nothing of it is lost:
// attributes in any order, but each once, with the type that fits it, its number without leading
// zeros and every byte escaped that has to be.
// Returns nothing if all is well, or else the first damage; `event` then holds what came before it.
std::optional<Damage> parseLine(std::string_view line, Event& event);

}  // namespace veltra
