// Sends messages to the recorder that the agent's environment variables name:
//   text MESSAGE...   each message as it is
//   numbered COUNT    lines with the numbers from 1 to COUNT
//   large SIZE        one line of SIZE bytes
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "Sender.h"

namespace {

using veltra::testing::sendMessage;

std::uint16_t recorderPort() {
    // NOLINTBEGIN(concurrency-mt-unsafe): there is no other thread.
    const char* address = std::getenv("VELTRA_SOCKET_AGENT_IP_ADDRESS");
    const char* port = std::getenv("VELTRA_SOCKET_AGENT_PORT_NUMBER");
    // NOLINTEND(concurrency-mt-unsafe)
    if (address == nullptr || address != std::string("127.0.0.1") || port == nullptr) {
        throw std::runtime_error("no recorder in the environment");
    }
    return static_cast<std::uint16_t>(std::stoi(port));
}

void send(const std::vector<std::string>& arguments) {
    const std::string& kind = arguments.at(0);
    if (kind == "text") {
        for (std::size_t i = 1; i < arguments.size(); ++i) {
            sendMessage(recorderPort(), arguments[i]);
        }
    } else if (kind == "numbered") {
        const int count = std::stoi(arguments.at(1));
        for (int i = 1; i <= count; ++i) {
            sendMessage(recorderPort(), std::to_string(i) + "\n");
        }
    } else if (kind == "large") {
        sendMessage(recorderPort(), std::string(std::stoul(arguments.at(1)) - 1, 'x') + "\n");
    } else {
        throw std::runtime_error("unknown kind " + kind);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        send({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "message sender: " << error.what() << "\n";
        return 99;
    }
}
