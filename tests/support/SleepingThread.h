#pragma once

#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

namespace veltra::testing {

// A thread that is to block in its body, waiting for a lock. Joined in the end.
class SleepingThread {
public:
    // Returns once the thread is asleep or has left the body.
    template <typename Body>
    explicit SleepingThread(Body body)
        : thread_([this, body] {
              id_.store(gettid());
              body();
              left_.store(true);
          }) {
        while (!left_.load() && !isInStateOfSleep())
            sched_yield();
    }
    ~SleepingThread() { thread_.join(); }
    SleepingThread(const SleepingThread&) = delete;
    SleepingThread& operator=(const SleepingThread&) = delete;

    // False once the body was left.
    bool isInside() const { return !left_.load(); }

private:
    bool isInStateOfSleep() const {
        if (id_.load() == 0) return false;
        std::ifstream stat("/proc/self/task/" + std::to_string(id_.load()) + "/stat");
        std::string text;
        std::getline(stat, text);
        // "<id> (<name>) <state> ...", and the name may hold anything.
        const std::size_t state = text.rfind(')') + 2;
        return state < text.size() && text[state] == 'S';
    }

    std::atomic<pid_t> id_{0};
    std::atomic<bool> left_{false};
    std::thread thread_;
};

}  // namespace veltra::testing
