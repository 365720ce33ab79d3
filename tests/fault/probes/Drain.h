#pragma once

// Other ends for many connections at once: a server that takes whatever comes and counts it. Like
// every peer it calls the kernel directly, and no signal reaches its thread.

#include <poll.h>
#include <signal.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

#include "preload/probes/Peer.h"

namespace probe {

// Starts a thread that takes no signals.
template <typename Body>
std::thread quietThread(Body body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(body);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

class Drain {
public:
    // `answers`: every byte is sent back.
    explicit Drain(bool answers = false)
        : answers_(answers), listener_(peer::listening(ipv4("127.0.0.1", 0))) {
        thread_ = quietThread([this] { serve(); });
    }
    ~Drain() {
        stop();
        syscall(SYS_close, listener_);
    }
    Drain(const Drain&) = delete;
    Drain& operator=(const Drain&) = delete;

    sockaddr_in address() const { return ipv4("127.0.0.1", peer::portOf(listener_)); }
    void tellPortAs(const char* name) const { tellPort(name, peer::portOf(listener_)); }

    // All that was sent on connections that are closed by now; ends the server.
    std::size_t stop() {
        stopping_ = true;
        if (thread_.joinable()) thread_.join();
        return received_;
    }

private:
    void serve() {
        std::vector<pollfd> ends = {{listener_, POLLIN, 0}};
        for (;;) {
            const long ready = syscall(SYS_poll, ends.data(), ends.size(), 10);
            if (ready == 0 && stopping_) break;
            for (std::size_t i = ends.size(); ready > 0 && i-- > 1;) {
                if (ends[i].revents != 0 && !take(ends[i].fd)) {
                    syscall(SYS_close, ends[i].fd);
                    ends.erase(ends.begin() + static_cast<std::ptrdiff_t>(i));
                }
            }
            if (ready > 0 && ends[0].revents != 0)
                ends.push_back({peer::accepted(listener_), POLLIN, 0});
        }
        for (const pollfd& end : ends)
            syscall(SYS_close, end.fd);
    }

    // False at the end of the stream.
    bool take(int end) {
        const long count = syscall(SYS_read, end, buffer_.data(), buffer_.size());
        if (count <= 0) return false;
        received_ += static_cast<std::size_t>(count);
        if (answers_) peer::send(end, buffer_.data(), static_cast<std::size_t>(count));
        return true;
    }

    const bool answers_;
    const int listener_;
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> received_{0};
    std::vector<char> buffer_ = std::vector<char>(std::size_t{1} << 18);
    std::thread thread_;
};

}  // namespace probe
