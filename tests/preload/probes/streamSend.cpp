// Calls that send on a stream socket.

#include <sys/mman.h>
#include <sys/uio.h>

#include <csignal>
#include <string>

#include "Answers.h"
#include "Client.h"

using probe::answerNext;
using probe::report;

namespace {

// What the peer got of the `count` bytes that it waits for.
void reportArrival(const Client& client, std::size_t count) {
    std::string arrived(count, '.');
    syscall(SYS_recvfrom, client.peer, arrived.data(), count, MSG_WAITALL, nullptr, nullptr);
    std::printf("arrived: %s\n", arrived.c_str());
}

void sendText(const Client& client, const char* text, std::size_t length, int flags) {
    probe::tellAddress("BUFFER", text);
    report("send", [&] { return send(client.socket, text, length, flags); });
}

void sendRequest() {
    const Client client = connectClient();
    sendText(client, "GET /\r\n", 7, 0);
    reportArrival(client, 7);
}

void sendEveryByte() {
    const Client client = connectClient();
    char bytes[257] = {};
    for (int i = 0; i < 256; ++i)
        bytes[i] = static_cast<char>(i);
    sendText(client, bytes, 256, 0);
}

void sendNothing() {
    sendText(connectClient(), "unsent", 0, 0);
}

void sendPartOfText() {
    sendText(connectClient(), "only this|not this", 9, MSG_DONTWAIT);
}

void sendAfterShutdown() {
    const Client client = connectClient();
    shutdown(client.socket, SHUT_WR);
    sendText(client, "lost", 4, MSG_NOSIGNAL);
}

void sendShort() {
    const Client client = connectClient();
    answerNext("send", client.socket, 3, probe::untouched);
    sendText(client, "seven..", 7, 0);
}

void sendBrokenPipe() {
    const Client client = connectClient();
    answerNext("send", client.socket, -1, EPIPE);
    sendText(client, "a\\b", 3, 0);
}

void sendUnreadable() {
    const Client client = connectClient();
    char* const page =
        static_cast<char*>(mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    sendText(client, page, 4, 0);
    probe::tellAddress("NULL", nullptr);
    report("send", [&] { return send(client.socket, probe::nowhere, 4, 0); });
}

void sendNegativeLength() {
    const Client client = connectClient();
    answerNext("send", client.socket, -1, EMSGSIZE);
    sendText(client, "much", 0x80000000UL, 0);
}

void sendLarge() {
    const Client client = connectClient();
    const std::string lines(20000, '\n');
    report("send", [&] { return send(client.socket, lines.data(), lines.size(), 0); });
}

void sendUnconnected() {
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_STREAM, 0); });
    const char* const text = "nobody";
    probe::tellAddress("BUFFER", text);
    report("send", [&] { return send(client, text, 6, MSG_NOSIGNAL); });
}

void sendIpv6() {
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_INET6, SOCK_STREAM, 0); });
    const char* const text = "nobody";
    probe::tellAddress("BUFFER", text);
    report("send", [&] { return send(client, text, 6, MSG_NOSIGNAL); });
}

// Sockets and files that the agent does not know, by every call.
void unknownDescriptors() {
    int pipeEnds[2];
    int sockets[2];
    if (pipe(pipeEnds) != 0 || socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0) return;
    iovec buffer{const_cast<char*>("text"), 4};
    msghdr message{};
    message.msg_iov = &buffer;
    message.msg_iovlen = 1;
    report("write", [&] { return write(pipeEnds[1], "text", 4); });
    report("write", [] { return write(-1, "text", 4); });
    report("send", [&] { return send(sockets[0], "text", 4, 0); });
    report("send", [&] { return send(pipeEnds[1], "text", 4, 0); });
    report("send", [] { return send(0, "text", 4, 0); });
    report("sendmsg", [&] { return sendmsg(sockets[0], &message, 0); });
    report("sendmsg", [&] { return sendmsg(-1, &message, 0); });
    report("sendmsg", [&] { return sendmsg(-1, nullptr, 0); });
}

void localSocket() {
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_UNIX, SOCK_STREAM, 0); });
    iovec buffer{const_cast<char*>("text"), 4};
    msghdr message{};
    message.msg_iov = &buffer;
    message.msg_iovlen = 1;
    report("send", [&] { return send(client, "text", 4, MSG_NOSIGNAL); });
    report("sendmsg", [&] { return sendmsg(client, &message, MSG_NOSIGNAL); });
    std::signal(SIGPIPE, SIG_IGN);
    report("write", [&] { return write(client, "text", 4); });
}

void datagramSocket() {
    const int server = peer::bound(SOCK_DGRAM, probe::ipv4("127.0.0.1", 0));
    const sockaddr_in address = probe::ipv4("127.0.0.1", peer::portOf(server));
    const int client =
        probe::reportDescriptor("socket", [] { return socket(AF_INET, SOCK_DGRAM, 0); });
    report("connect", [&] { return connect(client, probe::generic(address), sizeof(address)); });
    probe::tellPort("LOCAL", peer::portOf(client));
    probe::tellAddress("DESTINATION", &address);
    const char* const text = "text";
    iovec buffer{const_cast<char*>(text), 4};
    msghdr message{};
    message.msg_iov = &buffer;
    message.msg_iovlen = 1;
    probe::tellAddress("BUFFER", text);
    probe::tellAddress("HEADER", &message);
    report("send", [&] { return send(client, text, 4, 0); });
    report("write", [&] { return write(client, text, 4); });
    report("sendmsg", [&] { return sendmsg(client, &message, 0); });
}

void writeText(const Client& client, const char* text, std::size_t length) {
    probe::tellAddress("BUFFER", text);
    report("write", [&] { return write(client.socket, text, length); });
}

void writeRequest() {
    const Client client = connectClient();
    writeText(client, "<a href=\"b&c\">\t", 15);
    reportArrival(client, 15);
}

void writeNothing() {
    writeText(connectClient(), "unsent", 0);
}

void writeFails() {
    const Client client = connectClient();
    answerNext("write", client.socket, -1, ECONNRESET);
    writeText(client, "lost", 4);
}

void writeShort() {
    const Client client = connectClient();
    answerNext("write", client.socket, 1, probe::untouched);
    writeText(client, "seven..", 7);
}

void writeUnreadable() {
    const Client client = connectClient();
    report("write", [&] { return write(client.socket, probe::nowhere, 4); });
}

void sendBuffers(const Client& client, iovec* buffers, std::size_t count) {
    sockaddr_in ignored = probe::ipv4("10.0.0.1", 9);
    msghdr message{};
    message.msg_name = &ignored;
    message.msg_namelen = sizeof(ignored);
    message.msg_iov = buffers;
    message.msg_iovlen = count;
    probe::tellAddress("HEADER", &message);
    report("sendmsg", [&] { return sendmsg(client.socket, &message, 0); });
}

void sendThreeBuffers(const Client& client) {
    char first[] = "GET ";
    char last[] = "/\n";
    iovec buffers[] = {{first, 4}, {nullptr, 0}, {last, 2}};
    sendBuffers(client, buffers, 3);
}

void sendmsgBuffers() {
    const Client client = connectClient();
    sendThreeBuffers(client);
    reportArrival(client, 6);
}

void sendmsgFails() {
    const Client client = connectClient();
    answerNext("sendmsg", client.socket, -1, ECONNRESET);
    sendThreeBuffers(client);
}

void sendmsgShort() {
    const Client client = connectClient();
    answerNext("sendmsg", client.socket, 5, probe::untouched);
    sendThreeBuffers(client);
}

void sendmsgNoBuffers() {
    const Client client = connectClient();
    iovec buffer{};
    sendBuffers(client, &buffer, 0);
    sendBuffers(client, nullptr, 0);
}

void sendmsgUnreadable() {
    const Client client = connectClient();
    report("sendmsg", [&] { return sendmsg(client.socket, nullptr, 0); });
}

void sendmsgUnreadableBuffer() {
    const Client client = connectClient();
    iovec buffer{nullptr, 4};
    sendBuffers(client, &buffer, 1);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"send", sendRequest},
                               {"send-every-byte", sendEveryByte},
                               {"send-nothing", sendNothing},
                               {"send-part-of-text", sendPartOfText},
                               {"send-after-shutdown", sendAfterShutdown},
                               {"send-short", sendShort},
                               {"send-broken-pipe", sendBrokenPipe},
                               {"send-unreadable", sendUnreadable},
                               {"send-negative-length", sendNegativeLength},
                               {"send-large", sendLarge},
                               {"send-unconnected", sendUnconnected},
                               {"send-ipv6", sendIpv6},
                               {"unknown-descriptors", unknownDescriptors},
                               {"local-socket", localSocket},
                               {"datagram-socket", datagramSocket},
                               {"write", writeRequest},
                               {"write-nothing", writeNothing},
                               {"write-fails", writeFails},
                               {"write-short", writeShort},
                               {"write-unreadable", writeUnreadable},
                               {"sendmsg", sendmsgBuffers},
                               {"sendmsg-fails", sendmsgFails},
                               {"sendmsg-short", sendmsgShort},
                               {"sendmsg-no-buffers", sendmsgNoBuffers},
                               {"sendmsg-unreadable", sendmsgUnreadable},
                               {"sendmsg-unreadable-buffer", sendmsgUnreadableBuffer}});
}
