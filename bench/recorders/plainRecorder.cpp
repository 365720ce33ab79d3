// A recorder as people write it against the system's own calls, to see whether it gets every
// message whole.
//
// usage: veltra_plain_recorder blocking|poll|epoll|strict LATE_MS BACKLOG EXPECTED [FILE]
//
// Prints its port. Takes connections, waits so many milliseconds before it reads one for the first
// time, reads to the end of the stream. Once so many connections have ended, or nothing has
// happened for five seconds, it prints a line "BYTES CONNECTIONS" for every length that a stream
// had, and "errors COUNT" for the streams that had another end. "strict" is poll in a recorder that
// gives a connection up as soon as an error is flagged. FILE gets the bytes of the streams, one
// after the other.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int patience = 5000;  // milliseconds

class Streams {
public:
    Streams(int late, long expected, const char* file)
        : late_(late), expected_(expected), file_(file) {}

    void open(int descriptor) {
        streams_[descriptor] = {};
        const timespec pause = {late_ / 1000, late_ % 1000 * 1'000'000L};
        nanosleep(&pause, nullptr);
    }

    // Reads once. False when the stream has come to its end; it is closed then.
    bool read(int descriptor) {
        const ssize_t count = ::read(descriptor, buffer_.data(), buffer_.size());
        if (count > 0) {
            Stream& stream = streams_[descriptor];
            stream.length += count;
            if (file_ != nullptr)
                stream.bytes.append(buffer_.data(), static_cast<std::size_t>(count));
            return true;
        }
        if (count == -1 && errno == EAGAIN) return true;
        end(descriptor, count == -1);
        return false;
    }

    void end(int descriptor, bool isError) {
        if (isError) ++errors_;
        const Stream& stream = streams_[descriptor];
        ++ended_[stream.length];
        ++count_;
        if (file_ != nullptr) std::ofstream(file_, std::ios::app) << stream.bytes;
        streams_.erase(descriptor);
        close(descriptor);
    }

    bool areComplete() const { return count_ >= expected_; }

    void report() const {
        for (const auto& [length, count] : ended_)
            std::printf("%ld %ld\n", length, count);
        std::printf("errors %ld\n", errors_);
    }

private:
    struct Stream {
        long length = 0;
        std::string bytes;  // only for a file
    };

    const int late_;
    const long expected_;
    const char* const file_;  // null: none
    std::vector<char> buffer_ = std::vector<char>(1024 * 1024);
    std::map<int, Stream> streams_;  // by descriptor
    std::map<long, long> ended_;     // how many streams had a length
    long count_ = 0;
    long errors_ = 0;
};

int listenOnOwnPort(int backlog, int flags) {
    const int listener = socket(AF_INET, SOCK_STREAM | flags, 0);
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (listener == -1 || bind(listener, generic, length) == -1 ||
        listen(listener, backlog) == -1 || getsockname(listener, generic, &length) == -1) {
        std::perror("veltra_plain_recorder");
        std::exit(1);
    }
    std::printf("%u\n", unsigned{ntohs(address.sin_port)});
    std::fflush(stdout);
    return listener;
}

void serveBlocking(Streams& streams, int backlog) {
    const int listener = listenOnOwnPort(backlog, 0);
    constexpr timeval longestWait = {patience / 1000, 0};
    setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &longestWait, sizeof(longestWait));
    while (!streams.areComplete()) {
        const int descriptor = accept(listener, nullptr, nullptr);
        if (descriptor == -1) return;
        streams.open(descriptor);
        while (streams.read(descriptor)) {
        }
    }
}

// `isStrict`: an error that is flagged ends a connection before it is read.
void servePoll(Streams& streams, int backlog, bool isStrict) {
    const int listener = listenOnOwnPort(backlog, SOCK_NONBLOCK);
    std::vector<pollfd> watched = {{listener, POLLIN, 0}};
    while (!streams.areComplete() && poll(watched.data(), watched.size(), patience) > 0) {
        if (watched[0].revents != 0) {
            const int descriptor = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK);
            if (descriptor != -1) {
                streams.open(descriptor);
                watched.push_back({descriptor, POLLIN, 0});
            }
        }
        std::erase_if(watched, [&](const pollfd& entry) {
            if (entry.fd == listener || entry.revents == 0) return false;
            if (isStrict && (entry.revents & (POLLERR | POLLNVAL)) != 0) {
                streams.end(entry.fd, true);
                return true;
            }
            return !streams.read(entry.fd);
        });
    }
}

void serveEpoll(Streams& streams, int backlog) {
    const int listener = listenOnOwnPort(backlog, SOCK_NONBLOCK);
    const int epoll = epoll_create1(0);
    const auto watch = [epoll](int descriptor) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLRDHUP;
        event.data.fd = descriptor;
        epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
    };
    watch(listener);
    std::array<epoll_event, 64> events;
    while (!streams.areComplete()) {
        const int count =
            epoll_wait(epoll, events.data(), static_cast<int>(events.size()), patience);
        if (count <= 0) return;
        for (int i = 0; i < count; ++i) {
            const int descriptor = events[static_cast<std::size_t>(i)].data.fd;
            if (descriptor != listener) {
                streams.read(descriptor);
                continue;
            }
            const int accepted = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK);
            if (accepted == -1) continue;
            streams.open(accepted);
            watch(accepted);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5 && argc != 6) return 2;
    const std::string kind = argv[1];
    const int backlog = std::atoi(argv[3]);
    Streams streams(std::atoi(argv[2]), std::atol(argv[4]), argc == 6 ? argv[5] : nullptr);
    if (kind == "blocking") serveBlocking(streams, backlog);
    if (kind == "poll" || kind == "strict") servePoll(streams, backlog, kind == "strict");
    if (kind == "epoll") serveEpoll(streams, backlog);
    streams.report();
}
