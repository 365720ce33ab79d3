#pragma once

#include <elf.h>

#include <cstdint>
#include <string>
#include <vector>

namespace veltra::testing {

// A 64-bit shared library as the dynamic linker sees it.
class ElfFile {
public:
    // Throws std::runtime_error when the file cannot be read or is something else.
    explicit ElfFile(const std::string& path);

    // Every program header of the kind.
    std::vector<Elf64_Phdr> segments(std::uint32_t type) const;

    // The values of every entry of the dynamic section with the tag.
    std::vector<std::uint64_t> dynamicValues(std::int64_t tag) const;

    // The names of the libraries that it needs, in order.
    std::vector<std::string> neededLibraries() const;

    // The names that it defines for others, sorted.
    std::vector<std::string> exportedNames() const;

private:
    const char* atAddress(std::uint64_t address) const;
    std::string dynamicString(std::uint64_t offset) const;

    std::string bytes_;
    Elf64_Ehdr header_{};
    std::vector<Elf64_Phdr> segments_;
    std::vector<Elf64_Dyn> dynamic_;
};

}  // namespace veltra::testing
