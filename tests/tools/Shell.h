#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "TemporaryFolder.h"

namespace veltra::testing {

struct Outcome {
    int exitStatus;  // or the negative number of the signal that ended the program
    std::string output;
    std::string errors;
};

// Runs a shell command line as a user would, in an empty folder of its own. In it RECORD is the
// launcher, SEND the program that sends messages, and SUBJECT an argument for the test's own use.
class Shell {
public:
    explicit Shell(const std::string& script, const std::string& subject = "");
    ~Shell();
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // The process of the shell, or of the program that it has replaced itself by.
    pid_t process() const { return process_; }

    // Waits until the text has come out of standard output.
    void waitForOutput(const std::string& text) const;

    // Waits for the end.
    Outcome wait();

    const std::filesystem::path& folder() const { return folder_.path(); }

    // The content of a file in the folder.
    std::string file(const std::string& name) const { return contentOf(folder_.path() / name); }

private:
    TemporaryFolder folder_;
    TemporaryFolder streams_;
    pid_t process_ = -1;
};

// Runs it from beginning to end.
Outcome run(const std::string& script, const std::string& subject = "");

}  // namespace veltra::testing
