#pragma once

// What tests of connects through a SOCKS server expect, and how they run. Their probe connects the
// descriptor 4 to 10.1.2.3, port 80, with its second call.

#include <cstdint>
#include <string>

#include "ExpectedText.h"
#include "support/SocksServer.h"

namespace veltra::testing {

// The probe with a SOCKS server for IPv4 on this port of 127.0.0.1.
ProbeSettings throughServer(std::uint16_t port, const std::string& name,
                            const std::string& scenario);

// Runs it under the agent only: a rerouted connect has no counterpart without.
ProbeOutcome runThrough(const ProbeSettings& settings);

// The trace of start-up, and from the program's start to the attempt to connect to the server.
Lines socksStartUpTrace(std::uint16_t port);
Lines beginTrace(std::uint16_t port);

// What follows that attempt: the greeting, and a request up to the reply's first byte.
Lines greetingTrace();
Lines requestTrace();

inline const std::string lockTrace = "[INFO ][2]** locking socket : 3 **";
inline const std::string unlockTrace = "[INFO ][2]** unlocking socket : 3 **";
inline const std::string stars =
    "[INFO ]*************************************************************";

// The message of the connect. `before` and `after` stand for the attributes that come first and
// last.
std::string connectMessageWith(const std::string& before, const std::string& after);

// The attributes of the destination.
inline const std::string toDestination = R"(family_AS="AF_INET" ip_AS="10.1.2.3" port_I4="50")";

// The message and the trace of a close that is recorded.
std::string closeMessage(const std::string& ticket);
Lines closeTrace(int callNumber, const std::string& ticket);

// What a connect that failed, and whose socket the agent has closed, leaves; and the trace of the
// close that the program makes all the same.
Lines failedOutput(int error);
Lines failedClose();

}  // namespace veltra::testing
