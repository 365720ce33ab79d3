#include "ProgramFile.h"

#include <cstring>

namespace veltra::testing {

namespace {

template <typename Header>
Header headerFor(unsigned char width, std::uint16_t machine) {
    Header header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = width;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_DYN;
    header.e_machine = machine;
    header.e_version = EV_CURRENT;
    header.e_ehsize = sizeof header;
    return header;
}

template <typename Part>
std::string bytesOf(const Part& part) {
    return {reinterpret_cast<const char*>(&part), sizeof part};
}

}  // namespace

std::string programFor(unsigned char width, std::uint16_t machine) {
    return width == ELFCLASS64 ? bytesOf(headerFor<Elf64_Ehdr>(width, machine))
                               : bytesOf(headerFor<Elf32_Ehdr>(width, machine));
}

std::string programWithLoader(const std::string& loader) {
    auto header = headerFor<Elf64_Ehdr>(ELFCLASS64, EM_X86_64);
    header.e_phoff = sizeof header;
    header.e_phentsize = sizeof(Elf64_Phdr);
    header.e_phnum = 1;
    Elf64_Phdr segment{};
    segment.p_type = PT_INTERP;
    segment.p_offset = sizeof header + sizeof segment;
    segment.p_filesz = loader.size() + 1;
    return bytesOf(header) + bytesOf(segment) + loader + '\0';
}

}  // namespace veltra::testing
