#pragma once

#include "Peer.h"

// A TCP connection to 127.0.0.1 that the probe has opened, and its other end.
struct Client {
    int socket;
    int peer;
};

// Makes the connection with the first two calls of the probe.
inline Client connectClient() {
    const int listener = peer::listening(probe::ipv4("127.0.0.1", 0));
    const sockaddr_in server = probe::ipv4("127.0.0.1", peer::portOf(listener));
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
    probe::report("connect",
                  [&] { return connect(client, probe::generic(server), sizeof(server)); });
    probe::tellPort("SERVER", peer::portOf(listener));
    probe::tellPort("LOCAL", peer::portOf(client));
    probe::tellAddress("DESTINATION", &server);
    return {client, peer::accepted(listener)};
}
