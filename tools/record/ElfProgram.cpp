#include "record/ElfProgram.h"

#include <gelf.h>

#include <filesystem>
#include <memory>

namespace veltra {

namespace {

constexpr const char* loaderName = "ld-linux-x86-64.so.2";

std::string machineName(const GElf_Ehdr& header) {
    switch (header.e_machine) {
        case EM_386:
            return "i386";
        case EM_ARM:
            return "ARM";
        case EM_AARCH64:
            return "ARM64";
        case EM_X86_64:
            return "x32";
        default:
            return "machine number " + std::to_string(header.e_machine);
    }
}

bool isForThisMachine(const GElf_Ehdr& header) {
    return header.e_machine == EM_X86_64 && header.e_ident[EI_CLASS] == ELFCLASS64;
}

std::string textAt(Elf& elf, const GElf_Phdr& segment) {
    const Elf_Data* const data = ::elf_getdata_rawchunk(
        &elf, static_cast<std::int64_t>(segment.p_offset), segment.p_filesz, ELF_T_BYTE);
    if (data == nullptr || data->d_buf == nullptr) return "";
    const std::string bytes(static_cast<const char*>(data->d_buf), data->d_size);
    return bytes.substr(0, bytes.find('\0'));
}

// The path of the loader that the program asks for, or nothing if it asks for none.
std::optional<std::string> loaderOf(Elf& elf) {
    std::size_t count = 0;
    if (::elf_getphdrnum(&elf, &count) != 0) return std::nullopt;
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Phdr segment;
        if (::gelf_getphdr(&elf, static_cast<int>(i), &segment) == nullptr) continue;
        if (segment.p_type == PT_INTERP) return textAt(elf, segment);
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> linkageObstacle(int file) {
    ::elf_version(EV_CURRENT);
    const std::unique_ptr<Elf, decltype(&::elf_end)> elf(
        ::elf_begin(file, ELF_C_READ_MMAP, nullptr), &::elf_end);
    GElf_Ehdr header;
    if (!elf || ::gelf_getehdr(elf.get(), &header) == nullptr) return std::nullopt;
    if (!isForThisMachine(header)) {
        return "is built for " + machineName(header) + ", the agent for x86-64";
    }
    const auto loader = loaderOf(*elf);
    if (!loader) return "is statically linked";
    if (std::filesystem::path(*loader).filename() == loaderName) return std::nullopt;
    return "is built for another C library, with the loader " + *loader;
}

}  // namespace veltra
