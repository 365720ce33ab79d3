#include "ElfFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace veltra::testing {

namespace {

template <typename Entry>
std::vector<Entry> entriesAt(const std::string& bytes, std::size_t offset, std::size_t count) {
    if (offset + count * sizeof(Entry) > bytes.size()) throw std::runtime_error("cut-off file");
    std::vector<Entry> entries(count);
    if (count != 0) std::memcpy(entries.data(), bytes.data() + offset, count * sizeof(Entry));
    return entries;
}

}  // namespace

ElfFile::ElfFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    bytes_ = content.str();
    header_ = entriesAt<Elf64_Ehdr>(bytes_, 0, 1).front();
    if (std::memcmp(header_.e_ident, ELFMAG, SELFMAG) != 0 || header_.e_type != ET_DYN) {
        throw std::runtime_error("no shared library: " + path);
    }
    segments_ = entriesAt<Elf64_Phdr>(bytes_, header_.e_phoff, header_.e_phnum);
    for (const Elf64_Phdr& segment : segments(PT_DYNAMIC)) {
        dynamic_ =
            entriesAt<Elf64_Dyn>(bytes_, segment.p_offset, segment.p_filesz / sizeof(Elf64_Dyn));
    }
}

std::vector<Elf64_Phdr> ElfFile::segments(std::uint32_t type) const {
    std::vector<Elf64_Phdr> found;
    std::copy_if(segments_.begin(), segments_.end(), std::back_inserter(found),
                 [&](const Elf64_Phdr& segment) { return segment.p_type == type; });
    return found;
}

std::vector<std::uint64_t> ElfFile::dynamicValues(std::int64_t tag) const {
    std::vector<std::uint64_t> values;
    for (const Elf64_Dyn& entry : dynamic_) {
        if (entry.d_tag == DT_NULL) break;
        if (entry.d_tag == tag) values.push_back(entry.d_un.d_val);
    }
    return values;
}

std::vector<std::string> ElfFile::neededLibraries() const {
    std::vector<std::string> names;
    for (const std::uint64_t offset : dynamicValues(DT_NEEDED)) {
        names.push_back(dynamicString(offset));
    }
    return names;
}

std::vector<std::string> ElfFile::exportedNames() const {
    std::vector<std::string> names;
    const auto sections = entriesAt<Elf64_Shdr>(bytes_, header_.e_shoff, header_.e_shnum);
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type != SHT_DYNSYM) continue;
        for (const Elf64_Sym& symbol :
             entriesAt<Elf64_Sym>(bytes_, section.sh_offset, section.sh_size / sizeof(Elf64_Sym))) {
            if (symbol.st_shndx != SHN_UNDEF) names.push_back(dynamicString(symbol.st_name));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

const char* ElfFile::atAddress(std::uint64_t address) const {
    for (const Elf64_Phdr& segment : segments(PT_LOAD)) {
        const std::uint64_t offset = address - segment.p_vaddr;
        if (address >= segment.p_vaddr && offset < segment.p_filesz) {
            return bytes_.data() + segment.p_offset + offset;
        }
    }
    throw std::runtime_error("an address outside the file");
}

std::string ElfFile::dynamicString(std::uint64_t offset) const {
    return atAddress(dynamicValues(DT_STRTAB).at(0) + offset);
}

}  // namespace veltra::testing
