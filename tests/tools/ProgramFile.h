#pragma once

#include <elf.h>

#include <cstdint>
#include <string>

namespace veltra::testing {

// The beginning of a program of another kind than the tests' own, as far as anybody looks at it
// before running it.

// One for the given class (ELFCLASS32 or ELFCLASS64) and machine (EM_...).
std::string programFor(unsigned char width, std::uint16_t machine);

// One for this machine that asks for the given loader.
std::string programWithLoader(const std::string& loader);

}  // namespace veltra::testing
