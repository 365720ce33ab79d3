#pragma once

#include <map>
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
    // What the recorded run leaves in its folder, by name; and all files of its folder "trace".
    std::map<std::string, std::string> files;
    std::string trace;
};

// Runs the script both ways and fails the test unless both end well and print the same. A function
// `free_port [ADDRESS]` prints a TCP port that nobody listens on (the address is 127.0.0.1 if none
// is given), `wait_for PORT` waits until somebody does, `serve COMMAND...` runs a server in the
// background, silently, and what the script leaves running is ended with it.
AppRun runBothWays(const std::string& script);

// Runs it under the agent only, for what must not end as it would without, and fails the test
// unless it ends well.
AppRun runRecorded(const std::string& script);

}  // namespace veltra::testing
