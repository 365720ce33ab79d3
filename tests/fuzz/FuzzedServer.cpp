#include "FuzzedServer.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace veltra::testing {

namespace {

FuzzedServer* current = nullptr;

constexpr int connectErrors[] = {0, 0, 0, 0, 0, EINPROGRESS, EAGAIN, ECONNREFUSED};
constexpr int readErrors[] = {EINTR, ECONNRESET, ENOTCONN, ETIMEDOUT};
constexpr std::uint8_t firstFailingStep = 0xF0;

// Those of a whole exchange without a server that has anything to say.
constexpr std::size_t readsAtTheEnd = 8;

bool isNonBlocking(int fd) {
    return (::fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

bool hasNothingToRead(int fd) {
    int count = 0;
    return ::ioctl(fd, FIONREAD, &count) == 0 && count == 0;
}

}  // namespace

FuzzedInput::FuzzedInput(const std::uint8_t* data, std::size_t size)
    : isIpv6((data[0] & 1) != 0),
      isNonBlocking((data[0] & 2) != 0),
      isAppending((data[0] & 4) != 0),
      isServerGone((data[0] & 0xF8) == 0xF8),
      connectError(connectErrors[data[1] % 8]),
      selectResult(data[1] / 8 % 3 - 1),
      script(data + 2),
      scriptSize(size - 2) {}

FuzzedServer::FuzzedServer(const FuzzedInput& input)
    : input_(input),
      connectCall_(connect_ptr, &FuzzedServer::connect),
      selectCall_(select_ptr, &FuzzedServer::select),
      recvCall_(recv_ptr, &FuzzedServer::recv) {
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socket pair");
    client_ = ends[0];
    server_ = ends[1];
    const int flags = ::fcntl(client_, F_GETFL) | (input.isNonBlocking ? O_NONBLOCK : 0) |
                      (input.isAppending ? O_APPEND : 0);
    ::fcntl(client_, F_SETFL, flags);
    if (input.isServerGone) {
        ::close(server_);
        server_ = -1;
    }
    current = this;
}

FuzzedServer::~FuzzedServer() {
    current = nullptr;
    ::close(client_);
    if (server_ != -1) ::close(server_);
}

std::string FuzzedServer::received() const {
    char bytes[64];
    const ssize_t count = ::recv(server_, bytes, sizeof(bytes), MSG_DONTWAIT);
    return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

int FuzzedServer::connect(int, const sockaddr*, socklen_t) {
    const int error = current->input_.connectError;
    if (error == 0) return 0;
    errno = error;
    return -1;
}

int FuzzedServer::select(int, fd_set*, fd_set*, fd_set*, timeval*) {
    return current->input_.selectResult;
}

ssize_t FuzzedServer::recv(int fd, void* buffer, std::size_t length, int flags) {
    ++current->reads_;
    require(current->reads_ <= current->input_.scriptSize + readsAtTheEnd, "endless loop");
    if (hasNothingToRead(fd)) {
        const int error = current->play();
        if (error != 0) {
            errno = error;
            return -1;
        }
    }
    return ::recv(fd, buffer, length, flags);
}

int FuzzedServer::play() {
    while (position_ < input_.scriptSize) {
        const std::uint8_t step = input_.script[position_++];
        if (step >= firstFailingStep) return readErrors[step % 4];
        const std::size_t count = std::min<std::size_t>(step, input_.scriptSize - position_);
        if (count > 0) {
            ::send(server_, input_.script + position_, count, MSG_NOSIGNAL);
            position_ += count;
            return 0;
        }
        if (isNonBlocking(client_)) return 0;
    }
    ::shutdown(server_, SHUT_WR);
    return 0;
}

void require(bool holds, const char* text) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", text);
    std::abort();
}

}  // namespace veltra::testing
