// Makes one call between two marks that whoever traces its system calls can see, and prints how
// often memory was allocated between them. The same call has been made before, so that whatever is
// done only once has been done.
//
// usage: veltra_probe_callCost write-file|receive-datagram|send|receive SIZE [idle-thread]

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

std::atomic<int> allocations{0};

}  // namespace

// In place of the C library's, for the agent, too.
extern "C" {

void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}
}

namespace {

void mark() {
    syscall(SYS_getppid);
}

template <typename Call>
int between(Call&& call) {
    for (int i = 0; i < 3; ++i) {
        if (!call()) return 1;
    }
    const int allocationsBefore = allocations;
    mark();
    const bool isWell = call();
    mark();
    std::printf("%d", allocations - allocationsBefore);
    return isWell ? 0 : 1;
}

int writeFile() {
    const int sink = open("/dev/null", O_WRONLY);
    return between([sink] { return write(sink, "x", 1) == 1; });
}

int receiveDatagram() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    return between([descriptor] {
        char byte;
        return recv(descriptor, &byte, 1, MSG_DONTWAIT) == -1;
    });
}

// The other end is written and read past the C library's names.
int exchangeWithSelf(std::size_t size, bool isSending) {
    const long listener = syscall(SYS_socket, AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    syscall(SYS_bind, listener, &address, length);
    syscall(SYS_listen, listener, 1);
    syscall(SYS_getsockname, listener, &address, &length);
    const int near = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(near, reinterpret_cast<const sockaddr*>(&address), length) == -1) return 1;
    const long far = syscall(SYS_accept4, listener, nullptr, nullptr, 0);
    std::vector<char> bytes(size, 'x');
    if (isSending) {
        return between([&] {
            // Some of it may not have been taken; all of it is recorded.
            return send(near, bytes.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL) != 0;
        });
    }
    for (int i = 0; i < 4; ++i)
        syscall(SYS_sendto, far, bytes.data(), size, 0, nullptr, 0);
    return between([&] { return recv(near, bytes.data(), size, MSG_WAITALL) > 0; });
}

void startIdleThread() {
    std::thread([] {
        for (;;)
            pause();
    }).detach();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const char* const call = argv[1];
    const std::size_t size = std::strtoul(argv[2], nullptr, 10);
    if (argc > 3) startIdleThread();
    if (std::strcmp(call, "write-file") == 0) return writeFile();
    if (std::strcmp(call, "receive-datagram") == 0) return receiveDatagram();
    if (std::strcmp(call, "send") == 0) return exchangeWithSelf(size, true);
    if (std::strcmp(call, "receive") == 0) return exchangeWithSelf(size, false);
    return 2;
}
