#pragma once

#include <string>
#include <vector>

#include "Recording.h"
#include "tools/Shell.h"

namespace veltra::testing {

// A shell script, run once with $AGENT empty and once with $AGENT in front of the program under
// test recording it into the file "recording".
struct AppRun {
    Outcome bare;
    Outcome recorded;
    std::vector<RecordedMessage> recording;
};

// Runs the script both ways and fails the test unless both end well and print the same. A function
// `free_port` prints a TCP port that nobody listens on, `wait_for PORT` waits until somebody does,
// and what the script leaves running is ended with it.
AppRun runBothWays(const std::string& script);

}  // namespace veltra::testing
