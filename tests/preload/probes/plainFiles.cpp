// Calls on descriptors that are no sockets of the application's making, as most calls are.

#include <fcntl.h>
#include <sys/uio.h>

#include <atomic>

#include "Probe.h"

namespace {

using Counter = std::atomic<int>;

Counter& counter(const char* name) {
    static Counter absent{0};
    auto* const found = static_cast<Counter*>(dlsym(RTLD_DEFAULT, name));
    return found != nullptr ? *found : absent;
}

void talkOnFiles() {
    char buffer[64] = "something";
    const int sink = open("/dev/null", O_WRONLY);
    const int source = open("/dev/zero", O_RDONLY);
    int ends[2];
    if (pipe(ends) != 0) return;
    for (int i = 0; i < 100; ++i) {
        if (write(sink, buffer, sizeof(buffer)) < 0) return;
        if (read(source, buffer, sizeof(buffer)) < 0) return;
        if (write(ends[1], buffer, sizeof(buffer)) < 0) return;
        if (read(ends[0], buffer, sizeof(buffer)) < 0) return;
        if (write(-1, buffer, sizeof(buffer)) != -1 || read(9999, buffer, sizeof(buffer)) != -1)
            return;
    }
    close(sink);
    close(source);
    close(ends[0]);
    close(ends[1]);
}

void talkOnForeignSockets() {
    char buffer[64] = "something";
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) return;
    for (int i = 0; i < 100; ++i) {
        iovec piece = {buffer, sizeof(buffer)};
        msghdr message{};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        if (send(pair[0], buffer, sizeof(buffer), 0) < 0) return;
        if (recv(pair[1], buffer, sizeof(buffer), 0) < 0) return;
        if (sendmsg(pair[0], &message, 0) < 0 || recvmsg(pair[1], &message, 0) < 0) return;
    }
    close(pair[0]);
    close(pair[1]);
}

// Whatever is done once only has been done before the count begins.
void countOf(void (*talk)()) {
    talk();
    Counter& allocations = counter("countedAllocations");
    Counter& formats = counter("countedFormats");
    const int allocationsBefore = allocations;
    const int formatsBefore = formats;
    talk();
    const int allocationsAfter = allocations;
    const int formatsAfter = formats;
    std::printf("counting %s\n", formatsBefore > 0 ? "works" : "does not work");
    std::printf("allocations %d, formats %d\n", allocationsAfter - allocationsBefore,
                formatsAfter - formatsBefore);
}

void files() {
    countOf(&talkOnFiles);
}

void foreignSockets() {
    countOf(&talkOnForeignSockets);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv, {{"files", files}, {"foreign-sockets", foreignSockets}});
}
