#pragma once

// Counting what a run under load leaves: every message and every trace line whole, none lost and
// none invented, in whatever order.

#include <cstddef>
#include <map>
#include <string>

#include "preload/ExpectedText.h"

namespace veltra::testing {

using Tally = std::map<std::string, std::size_t>;

// How often each message came. Ticket, descriptors and the local port, which depend on the order of
// things, are "N". Fails the test when two messages that draw a ticket each have the same one.
Tally tallyOf(const Lines& messages);

// The same for messages of several processes that draw their tickets each for itself.
Tally tallyOfProcesses(const Lines& messages);

// The messages as the tally names them.
std::string connectOf(const std::string& portName);
std::string sendOf(const std::string& data, std::size_t length);
std::string receiveOf(const std::string& data, std::size_t length);
extern const std::string processOnce;
extern const std::string acceptFromClient;
extern const std::string closeOfSocket;
std::string announcementOf(const std::string& name);

// The numbers that the probe printed, by name: lines of the form "name: 12".
Tally countsOf(const ProbeOutcome& outcome);

// Fails the test unless the probe ended well and wrote nothing to standard error. Without a good
// end the rest tells nothing.
bool endedWell(const ProbeOutcome& outcome);

// Fails the test unless every line of the trace is a whole line of its own, and each of the
// messages was traced exactly once.
void expectWholeTrace(const ProbeOutcome& outcome);

}  // namespace veltra::testing
