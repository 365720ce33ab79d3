// Calls that receive on a stream socket.

#include <fcntl.h>
#include <sys/uio.h>

#include <algorithm>

#include "Answers.h"
#include "Client.h"

using probe::answerNext;
using probe::report;

namespace {

char buffer[16];

void fillBuffer(const char* text) {
    std::memcpy(buffer, text, std::min(std::strlen(text), sizeof(buffer)));
}

void printReceived(long count) {
    std::printf("received: %.*s\n", static_cast<int>(std::max(count, 0L)), buffer);
}

void receive(int socket, std::size_t length, int flags, int errorBefore = probe::untouched) {
    probe::tellAddress("BUFFER", buffer);
    printReceived(report(
        "recv", [&] { return recv(socket, buffer, length, flags); }, errorBefore));
}

void readFrom(int descriptor, std::size_t length, int errorBefore = probe::untouched) {
    probe::tellAddress("BUFFER", buffer);
    printReceived(report(
        "read", [&] { return read(descriptor, buffer, length); }, errorBefore));
}

void makeNonBlocking(int socket) {
    syscall(SYS_fcntl, socket, F_SETFL, O_RDWR | O_NONBLOCK);
}

void recvData() {
    const Client client = connectClient();
    peer::send(client.peer, "HTTP/1.1\r\n", 10);
    receive(client.socket, 16, 0);
}

void recvWithFlags() {
    const Client client = connectClient();
    peer::send(client.peer, "abcdef", 6);
    receive(client.socket, 4, MSG_PEEK);
    receive(client.socket, 4, MSG_WAITALL);
}

void recvEnd() {
    const Client client = connectClient();
    fillBuffer("abc");
    peer::finish(client.peer);
    receive(client.socket, sizeof(buffer), 0);
}

void recvEndInFullBuffer() {
    const Client client = connectClient();
    fillBuffer("no zero byte....");
    peer::finish(client.peer);
    receive(client.socket, 4, 0);
}

void recvEndInEmptyBuffer() {
    const Client client = connectClient();
    peer::finish(client.peer);
    receive(client.socket, sizeof(buffer), 0);
}

// An error code of earlier makes an end of stream look like nothing to read.
void recvEndAfterEagain() {
    const Client client = connectClient();
    peer::finish(client.peer);
    receive(client.socket, sizeof(buffer), 0, EAGAIN);
}

void recvNothingYet() {
    receive(connectClient().socket, sizeof(buffer), MSG_DONTWAIT);
}

void recvFails() {
    const Client client = connectClient();
    fillBuffer("old");
    answerNext("recv", client.socket, -1, ECONNRESET);
    receive(client.socket, sizeof(buffer), 0);
}

void recvUnwritable() {
    const Client client = connectClient();
    peer::send(client.peer, "text", 4);
    report("recv", [&] { return recv(client.socket, probe::nowhere, 4, 0); });
}

void recvTruncated() {
    const Client client = connectClient();
    peer::send(client.peer, "text", 4);
    receive(client.socket, sizeof(buffer), MSG_TRUNC);
}

void readData() {
    const Client client = connectClient();
    peer::send(client.peer, "line\n", 5);
    readFrom(client.socket, 16);
}

void readEnd() {
    const Client client = connectClient();
    fillBuffer("abc");
    peer::finish(client.peer);
    readFrom(client.socket, sizeof(buffer));
}

void readEndAfterEagain() {
    const Client client = connectClient();
    peer::finish(client.peer);
    readFrom(client.socket, sizeof(buffer), EAGAIN);
}

void readNothingYet() {
    const Client client = connectClient();
    makeNonBlocking(client.socket);
    readFrom(client.socket, sizeof(buffer));
}

void readFails() {
    const Client client = connectClient();
    fillBuffer("old");
    answerNext("read", client.socket, -1, EINTR);
    readFrom(client.socket, sizeof(buffer));
}

void readUnwritable() {
    const Client client = connectClient();
    peer::send(client.peer, "text", 4);
    report("read", [&] { return read(client.socket, probe::nowhere, 4); });
}

char secondBuffer[8];

// Receives into the first four bytes of one buffer, nothing of a null one, and another of 8.
void receiveMessage(int socket, int flags, int errorBefore = probe::untouched) {
    iovec buffers[] = {{buffer, 4}, {nullptr, 0}, {secondBuffer, sizeof(secondBuffer)}};
    msghdr message{};
    message.msg_iov = buffers;
    message.msg_iovlen = 3;
    probe::tellAddress("HEADER", &message);
    report(
        "recvmsg", [&] { return recvmsg(socket, &message, flags); }, errorBefore);
    std::printf("received: %.4s|%.8s\n", buffer, secondBuffer);
}

void recvmsgData() {
    const Client client = connectClient();
    peer::send(client.peer, "one two", 7);
    receiveMessage(client.socket, 0);
}

void recvmsgEnd() {
    const Client client = connectClient();
    fillBuffer("abc");
    peer::finish(client.peer);
    receiveMessage(client.socket, 0);
}

void recvmsgEndAfterEagain() {
    const Client client = connectClient();
    peer::finish(client.peer);
    receiveMessage(client.socket, 0, EAGAIN);
}

void recvmsgNothingYet() {
    receiveMessage(connectClient().socket, MSG_DONTWAIT);
}

void recvmsgFails() {
    const Client client = connectClient();
    fillBuffer("old.");
    std::memcpy(secondBuffer, "buffers.", 8);
    answerNext("recvmsg", client.socket, -1, ECONNRESET);
    receiveMessage(client.socket, 0);
}

void recvmsgUnwritable() {
    const Client client = connectClient();
    report("recvmsg", [&] { return recvmsg(client.socket, nullptr, 0); });
}

void recvmsgIntoConstants() {
    const Client client = connectClient();
    peer::send(client.peer, "text", 4);
    iovec constant{const_cast<char*>("fixed"), 5};
    msghdr message{};
    message.msg_iov = &constant;
    message.msg_iovlen = 1;
    probe::tellAddress("HEADER", &message);
    report("recvmsg", [&] { return recvmsg(client.socket, &message, 0); });
}

// Sockets and files that the agent does not know, by every call.
void unknownDescriptors() {
    int pipeEnds[2];
    int sockets[2];
    if (pipe(pipeEnds) != 0 || socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0) return;
    syscall(SYS_write, pipeEnds[1], "piped", 5);
    peer::send(sockets[1], "one two", 7);
    readFrom(pipeEnds[0], 5);
    readFrom(0, 5);
    readFrom(-1, 5);
    receive(sockets[0], 3, 0);
    receive(pipeEnds[0], 3, 0);
    receiveMessage(sockets[0], 0);
    receiveMessage(-1, 0);
    report("recvmsg", [] { return recvmsg(-1, nullptr, 0); });
}

void localSocket() {
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_UNIX, SOCK_STREAM, 0); });
    receive(client, 3, 0);
    readFrom(client, 3);
    receiveMessage(client, 0);
}

void datagramSocket() {
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_DGRAM, 0); });
    receive(client, 3, MSG_DONTWAIT);
    makeNonBlocking(client);
    readFrom(client, 3);
    receiveMessage(client, 0);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"recv", recvData},
                               {"recv-with-flags", recvWithFlags},
                               {"recv-end", recvEnd},
                               {"recv-end-in-full-buffer", recvEndInFullBuffer},
                               {"recv-end-in-empty-buffer", recvEndInEmptyBuffer},
                               {"recv-end-after-eagain", recvEndAfterEagain},
                               {"recv-nothing-yet", recvNothingYet},
                               {"recv-fails", recvFails},
                               {"recv-unwritable", recvUnwritable},
                               {"recv-truncated", recvTruncated},
                               {"read", readData},
                               {"read-end", readEnd},
                               {"read-end-after-eagain", readEndAfterEagain},
                               {"read-nothing-yet", readNothingYet},
                               {"read-fails", readFails},
                               {"read-unwritable", readUnwritable},
                               {"recvmsg", recvmsgData},
                               {"recvmsg-end", recvmsgEnd},
                               {"recvmsg-end-after-eagain", recvmsgEndAfterEagain},
                               {"recvmsg-nothing-yet", recvmsgNothingYet},
                               {"recvmsg-fails", recvmsgFails},
                               {"recvmsg-unwritable", recvmsgUnwritable},
                               {"recvmsg-into-constants", recvmsgIntoConstants},
                               {"unknown-descriptors", unknownDescriptors},
                               {"local-socket", localSocket},
                               {"datagram-socket", datagramSocket}});
}
