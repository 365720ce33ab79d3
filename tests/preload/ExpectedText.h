#pragma once

// Texts that many tests expect, and how to put them together.

#include <initializer_list>
#include <string>
#include <vector>

#include "support/PreloadRun.h"

namespace veltra::testing {

using Lines = std::vector<std::string>;

// The parts one after the other.
Lines joined(std::initializer_list<Lines> parts);

// What follows the expected beginning; the test fails when the beginning is another.
Lines rest(const Lines& lines, const Lines& beginning);

// What to run: the probe's name, the scenario in it, and the library of scripted answers behind it.
ProbeSettings probe(const std::string& name, const std::string& scenario);

// The same without the trace file.
ProbeSettings quietProbe(const std::string& name, const std::string& scenario);

// Runs a scenario as runProbe does.
ProbeOutcome runScenario(const std::string& name, const std::string& scenario);

// The first message of every process.
extern const std::string processMessage;

// What the trace file holds when start-up is over.
Lines startUpTrace();

// The trace of a message that goes out, and that of the first message before it.
std::string dataTrace(int callNumber, const std::string& message);
std::string processTrace();

// The trace of a successful first call: a TCP socket with the descriptor 4.
Lines socketTrace();

// The message and the trace, from start-up on, of a client that has made the first two calls:
// socket, and connect to SERVER.
extern const std::string connectMessage;
Lines connectedTrace();

// The message that announces a call that is not recorded. `ticket` in hexadecimal.
std::string notRecordedMessage(const std::string& ticket, const std::string& name);

// The first and the last line of the traced list of bound ports.
extern const std::string portListBegin;
extern const std::string portListEnd;

// The messages and the trace, from start-up on, of a TCP server on 127.0.0.1 that has made the
// first three calls: socket, bind to SERVER, and listen.
Lines serverMessages();
Lines serverTrace();

// What the run of such a server adds to those.
Lines messagesAfterListen(const ProbeOutcome& outcome);
Lines traceAfterListen(const ProbeOutcome& outcome);

// What the run of a connected client adds to those.
Lines messagesAfterConnect(const ProbeOutcome& outcome);
Lines traceAfterConnect(const ProbeOutcome& outcome);

// What a run adds to the start of the trace.
Lines traceAfterStartUp(const ProbeOutcome& outcome);

// Expects that a call of a connected client, the third of its process, leaves one message, and a
// trace that ends with it.
void expectRecorded(const ProbeOutcome& outcome, const std::string& message, const Lines& trace);

// Every function of the C library that the agent interposes.
extern const Lines interposedNames;

}  // namespace veltra::testing
