#include "record/GroupWitness.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "recorder/SystemCall.h"

namespace veltra {

namespace {

bool transfer(ssize_t (&call)(int, int&), int channel, int& value) {
    ssize_t count = 0;
    do {
        count = call(channel, value);
    } while (count < 0 && errno == EINTR);
    return count == sizeof value;
}

ssize_t sendInteger(int channel, int& value) {
    return ::send(channel, &value, sizeof value, MSG_NOSIGNAL);
}

ssize_t receiveInteger(int channel, int& value) {
    return ::recv(channel, &value, sizeof value, 0);
}

void changeName(std::span<char* const> arguments) {
    ::prctl(PR_SET_NAME, "signal-witness");
    for (char* const argument : arguments) {
        std::memset(argument, 0, std::strlen(argument));
    }
}

// Takes the signal out of those that are pending. Returns whether it was one of them.
bool takePending(int signal) {
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, signal);
    const timespec noTime{};
    return sigtimedwait(&wanted, nullptr, &noTime) == signal;
}

// What the witness does until the launcher ends. Its only descriptor is the channel, so that it
// keeps nothing open for anybody.
[[noreturn]] void witness(int channel, std::span<char* const> arguments) noexcept {
    changeName(arguments);
    ::dup2(channel, 0);
    ::close_range(1, ~0U, 0);
    int signal = 0;
    transfer(sendInteger, 0, signal);
    while (transfer(receiveInteger, 0, signal)) {
        int answer = takePending(signal) ? 1 : 0;
        if (!transfer(sendInteger, 0, answer)) break;
    }
    ::_exit(0);
}

}  // namespace

GroupWitness::GroupWitness(std::span<char* const> arguments) {
    std::array<int, 2> ends{};
    checked(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()),
            "cannot create a pair of sockets");
    channel_ = FileDescriptor(ends[0]);
    FileDescriptor otherEnd(ends[1]);
    process_ = checked(::fork(), "cannot create a process");
    if (process_ == 0) {
        channel_.close();
        witness(otherEnd.number(), arguments);
    }
    otherEnd.close();
    // From the beginning of the command on nobody is to take the one process for the other.
    int ready = 0;
    transfer(receiveInteger, channel_.number(), ready);
}

GroupWitness::~GroupWitness() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

bool GroupWitness::received(int signal) const {
    // The system may still be going through the group. It does not change a process' group while it
    // does, so that asking for a change which changes nothing waits for it.
    ::setpgid(process_, ::getpgrp());
    // It may have been stopped together with the launcher, and not been told to go on.
    ::kill(process_, SIGCONT);
    int answer = 0;
    return transfer(sendInteger, channel_.number(), signal) &&
           transfer(receiveInteger, channel_.number(), answer) && answer == 1;
}

}  // namespace veltra
