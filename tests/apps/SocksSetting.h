#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "Recording.h"

namespace veltra::testing {

// A real SOCKS server, and the family of loopback addresses that it and the destination have.
struct SocksSetting {
    std::string server;  // its name, also what it is told to do: see SocksSetting.cpp
    bool isIpv6;

    std::string address() const { return isIpv6 ? "::1" : "127.0.0.1"; }
    // The same as recordings name it.
    std::string recordedFamily() const { return isIpv6 ? "AF_CCITT" : "AF_INET"; }
    std::string recordedAddress() const { return isIpv6 ? "0:0:0:0:0:0:0:1" : "127.0.0.1"; }
};

std::ostream& operator<<(std::ostream& stream, const SocksSetting& setting);

// Script lines that start a web server with the page /page and the SOCKS server, and tell the agent
// of the latter. They leave $address, $port and $host (the address as a URL has it) of the web
// server, its folder "site", the port again in the file "port", and what the SOCKS server logs in
// the file "log".
std::string withSocksServer(const SocksSetting& setting);

// Clients, as a script line each, that fetch the page into the file "fetched", and check that the
// socket's peer is the one they asked for.
const std::map<std::string, std::string>& pageClients();

// A script line that connects to $address and $port and prints the error number, and whether the
// descriptor is still open.
extern const char* const connectOnly;

// A script line that waits until the SOCKS server's log has a line that grep finds the pattern in.
std::string awaitLogLine(const std::string& pattern);

// How many lines of the log say that the server connected to the destination.
int connectionsInLog(const SocksSetting& setting, const std::string& log, int port);

// The one connect of a recording; fails the test and gives an empty one if there is not one.
RecordedMessage onlyConnect(const std::vector<RecordedMessage>& recording);

}  // namespace veltra::testing
