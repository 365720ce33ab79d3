#pragma once

#include <cstdint>
#include <string>

namespace veltra {

// An error code of the system in words, with its name: "ECONNREFUSED (Connection refused)". Just
// the number if it is none.
std::string errorText(std::int64_t code);

}  // namespace veltra
