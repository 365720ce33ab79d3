// Calls at every stage of a process's life.

#include <barrier>
#include <thread>
#include <vector>

#include "Stage.h"

namespace {

struct Object {
    Object() { probe::talkIn("object made"); }
    ~Object() { probe::talkIn("object destroyed"); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
};

const Object object;

void atExit() {
    probe::talkIn("exit handler");
}

// Many threads at once, each with an object of its own that goes with it.
void inThreads() {
    constexpr int count = 8;
    std::barrier together{count};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            struct ThreadObject {
                ~ThreadObject() { probe::talkIn("thread object destroyed"); }
            };
            together.arrive_and_wait();
            thread_local const ThreadObject threadObject{};
            probe::talkIn("thread");
            static_cast<void>(threadObject);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace

int main(int argc, char**) {
    char line[32];
    const int length = std::snprintf(line, sizeof(line), "@pid %d\n", static_cast<int>(getpid()));
    if (write(STDOUT_FILENO, line, static_cast<std::size_t>(length)) != length) return 1;
    std::atexit(&atExit);
    probe::talkIn("main");
    if (argc > 1) inThreads();
    return 0;
}
