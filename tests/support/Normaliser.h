#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace veltra::testing {

// Replaces in messages and traces what cannot be known before a run, by a name, and only if the
// value is the one that it has to be. A wrong or badly written value stays as it is, so that a
// comparison fails.
//
// The probe tells what it knows in lines of its standard output: "@pid 12", "@port NAME 4711" (a
// port in decimal) and "@address NAME 7ffc01" (an address in hexadecimal).
class Normaliser {
public:
    // Takes the lines out of `output` that are meant for the normaliser.
    explicit Normaliser(std::vector<std::string>& output);

    void addPort(const std::string& name, unsigned port) { ports_[port] = name; }

    // Every occurrence of the text becomes the name.
    void addText(const std::string& text, const std::string& name) { texts_[text] = name; }

    // Between when and when the process ran, in milliseconds since the epoch.
    void setLifetime(std::int64_t begin, std::int64_t end);

    // A message as the recorder got it. Fails the test unless it is one whole line; the newline is
    // taken off.
    std::string message(const std::string& text) const;

    // A line of the trace file.
    std::string traceLine(const std::string& text) const;

private:
    std::string attributes(const std::string& text) const;
    std::string replaceTexts(std::string text) const;
    std::string portName(const std::string& digits, int base) const;
    std::string addressName(unsigned long lowHalf, const std::string& otherwise) const;

    unsigned long pid_ = 0;
    std::int64_t begin_ = 0;
    std::int64_t end_ = 0;
    std::map<unsigned long, std::string> ports_;
    std::map<unsigned long, std::string> addresses_;  // by their low half
    std::map<std::string, std::string> texts_;
};

// The value of a message's attribute, for example of "ticket_I4"; empty when there is none.
std::string valueOf(const std::string& message, const std::string& attribute);

// The message with "N" as the value of each of the attributes.
std::string withoutValues(std::string message, const std::vector<std::string>& attributes);

}  // namespace veltra::testing
