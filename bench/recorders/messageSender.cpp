// Sends messages as the agent does: each on a connection of its own, in one piece, closed at once.
//
// usage: veltra_port_sender PORT plain|linger BYTES COUNT [BYTES COUNT]...
//
// "linger": with TCP_LINGER2 set to -1 before the close. Prints how many messages it could not send
// whole, and the messages a second of the last length.

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

bool sendMessage(const sockaddr_in& recorder, const std::vector<char>& bytes, bool givesPortBack) {
    constexpr timeval longestWait = {3, 0};
    constexpr int atOnce = -1;
    const int connection = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (connection == -1) return false;
    setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &longestWait, sizeof(longestWait));
    const bool isSent =
        connect(connection, reinterpret_cast<const sockaddr*>(&recorder), sizeof(recorder)) == 0 &&
        send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(bytes.size());
    if (givesPortBack) setsockopt(connection, IPPROTO_TCP, TCP_LINGER2, &atOnce, sizeof(atOnce));
    close(connection);
    return isSent;
}

double secondsNow() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5 || argc % 2 == 0) return 2;
    sockaddr_in recorder{};
    recorder.sin_family = AF_INET;
    recorder.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    recorder.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argv[1])));
    const bool givesPortBack = argv[2] == std::string("linger");
    long failures = 0;
    double rate = 0;
    for (int i = 3; i + 1 < argc; i += 2) {
        const std::vector<char> bytes(std::strtoul(argv[i], nullptr, 10), 'x');
        const long count = std::atol(argv[i + 1]);
        const double start = secondsNow();
        for (long sent = 0; sent < count; ++sent) {
            if (!sendMessage(recorder, bytes, givesPortBack)) ++failures;
        }
        rate = static_cast<double>(count) / (secondsNow() - start);
    }
    std::printf("%ld %.0f\n", failures, rate);
}
