#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "recorder/FileDescriptor.h"

namespace veltra::testing {

// A terminal of 80 columns with a shell command line in its foreground, which leads its session and
// process group.
class Terminal {
public:
    Terminal(const std::string& script, const std::filesystem::path& workingFolder);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    // The process of the shell, or of the program that it has replaced itself by.
    pid_t process() const { return process_; }

    void type(char key) const;

    // Reads what is shown until it contains the text or the programs are gone. Returns all of it.
    std::string readUntil(const std::string& text);

    // Takes the terminal away, as a broken connection does.
    void hangUp() { master_.close(); }

    // Waits for the end. Returns the exit status, or the negative number of the signal that ended
    // the process.
    int wait();

private:
    pid_t process_ = -1;
    FileDescriptor master_;
    std::string shown_;
};

}  // namespace veltra::testing
