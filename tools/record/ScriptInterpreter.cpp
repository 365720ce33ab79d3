#include "record/ScriptInterpreter.h"

#include <unistd.h>

#include <array>
#include <filesystem>
#include <sstream>
#include <string_view>

#include "record/Failure.h"
#include "record/ProgramSearch.h"

namespace veltra {

namespace {

constexpr std::string_view blanks = " \t";

// As much of a file as the system looks at when it runs a script.
using FirstBytes = std::array<char, 256>;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The first line of a script behind its "#!".
std::string_view interpreterLine(std::string_view text) {
    const auto end = text.find('\n');
    return trimmed(text.substr(2, end == std::string_view::npos ? end : end - 2));
}

// Which program `env` runs. All behind its own path is one argument for it, which it splits by
// itself when the argument begins with -S or the like.
std::string programOfEnv(std::string_view argument) {
    if (!argument.starts_with('-')) return std::string(argument);
    std::istringstream words{std::string(argument)};
    std::string word;
    while (words >> word) {
        if (word.starts_with("--split-string="))
            word.erase(0, word.find('=') + 1);
        else if (word.starts_with("-S"))
            word.erase(0, 2);
        const bool isProgram =
            !word.empty() && word.front() != '-' && word.find('=') == std::string::npos;
        if (isProgram) return word;
    }
    return "";
}

std::string findIfThere(const std::string& name, const char* searchPath) {
    try {
        return findProgram(name, searchPath);
    } catch (const Failure&) {
        return "";
    }
}

}  // namespace

std::optional<std::string> scriptInterpreter(int file, const char* searchPath) {
    FirstBytes bytes;
    const ssize_t count = ::pread(file, bytes.data(), bytes.size(), 0);
    const std::string_view text(bytes.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    if (!text.starts_with("#!")) return std::nullopt;
    const std::string_view line = interpreterLine(text);
    const auto pathEnd = line.find_first_of(blanks);
    const std::string path(line.substr(0, pathEnd));
    if (std::filesystem::path(path).filename() != "env") return path;
    const auto argument = pathEnd == std::string_view::npos ? "" : line.substr(pathEnd);
    return findIfThere(programOfEnv(trimmed(argument)), searchPath);
}

}  // namespace veltra
