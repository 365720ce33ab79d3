#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "recorder/FileDescriptor.h"

namespace veltra {

// Where a report goes: a file or standard output, written in large pieces.
class OutputFile {
public:
    // Creates or empties the file, or takes standard output if there is none.
    // Throws std::runtime_error when the file cannot be opened.
    explicit OutputFile(const std::optional<std::string>& path);

    // Throws std::runtime_error when something could not be written, at the latest in finish().
    void write(std::string_view bytes);

    // Writes what is still in memory and closes the file. Throws as write() does.
    void finish();

    // Whether a terminal shows what is written.
    bool isTerminal() const;

private:
    void flush();
    [[noreturn]] void fail(int error) const;

    FileDescriptor file_;
    int output_;
    std::string name_;
    std::string buffer_;
};

}  // namespace veltra
