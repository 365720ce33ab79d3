#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

// A recorder core that uses files and sockets while it is loaded.
namespace {

__attribute__((constructor)) void prepare() {
    const int file = memfd_create("recordercore", MFD_CLOEXEC);
    if (write(file, "loaded", 6) != 6) return;
    const int server = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    bind(server, reinterpret_cast<const sockaddr*>(&any), sizeof(any));
    listen(server, 1);
    close(server);
    close(file);
}

}  // namespace

extern "C" long long currentTime() {
    return 4242;
}
