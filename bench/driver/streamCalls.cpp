#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cmath>
#include <map>
#include <memory>

#include "../payloads.h"
#include "Stopwatch.h"
#include "scenarios.h"
#include "sockets.h"

namespace veltra::bench {

namespace {

// A data call on a socket with a buffer. What it returns is what the real call returned.
using DataCall = ssize_t (*)(int descriptor, char* bytes, std::size_t size);

msghdr headerOf(iovec& piece) {
    msghdr header{};
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    return header;
}

ssize_t callSendmsg(int descriptor, char* bytes, std::size_t size) {
    iovec piece = {bytes, size};
    const msghdr header = headerOf(piece);
    return sendmsg(descriptor, &header, 0);
}

ssize_t callRecvmsg(int descriptor, char* bytes, std::size_t size) {
    iovec piece = {bytes, size};
    msghdr header = headerOf(piece);
    return recvmsg(descriptor, &header, MSG_WAITALL);
}

const std::map<std::string, DataCall> sendingCalls = {
    {"send", [](int d, char* b, std::size_t n) { return send(d, b, n, 0); }},
    {"write", [](int d, char* b, std::size_t n) { return write(d, b, n); }},
    {"sendto", [](int d, char* b, std::size_t n) { return sendto(d, b, n, 0, nullptr, 0); }},
    {"sendmsg", &callSendmsg},
};

// All of the bytes are there before the call is made, so that read takes them in one piece.
const std::map<std::string, DataCall> receivingCalls = {
    {"recv", [](int d, char* b, std::size_t n) { return recv(d, b, n, MSG_WAITALL); }},
    {"read", [](int d, char* b, std::size_t n) { return read(d, b, n); }},
    {"recvfrom", [](int d, char* b,
                    std::size_t n) { return recvfrom(d, b, n, MSG_WAITALL, nullptr, nullptr); }},
    {"recvmsg", &callRecvmsg},
};

void checkWhole(ssize_t result, std::size_t size, const std::string& call) {
    if (result >= 0 && static_cast<std::size_t>(result) != size) errno = EMSGSIZE;
    checked(result >= 0 && static_cast<std::size_t>(result) == size ? 0 : -1, call.c_str());
}

void sendFloor(const Floor& floor, const std::string& message) {
    if (floor.length > 0)
        sendOneMessage(floor.recorder, message.data(), message.size(), floor.linger);
}

OwnConnection& ownConnection() {
    static OwnConnection connection;
    return connection;
}

double percentile(std::vector<std::int64_t>& times, double share) {
    const auto index =
        static_cast<std::ptrdiff_t>(std::floor(share * static_cast<double>(times.size() - 1)));
    std::nth_element(times.begin(), times.begin() + index, times.end());
    return static_cast<double>(times[static_cast<std::size_t>(index)]);
}

bool canBind() {
    const int descriptor = static_cast<int>(checked(socket(AF_INET, SOCK_STREAM, 0), "socket"));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int result =
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(descriptor);
    return result == 0;
}

}  // namespace

double measureStreamCall(const std::string& call, std::size_t size, const Floor& floor, int count) {
    const OwnConnection& connection = ownConnection();
    std::string bytes = textPayload(size);
    const std::string message = textPayload(floor.length);
    ssize_t result = static_cast<ssize_t>(size);
    const auto measure = [&](auto prepare, auto operation, auto tidyUp) {
        return medianOfSingle(
            count, prepare,
            [&] {
                operation();
                sendFloor(floor, message);
            },
            [&] {
                checkWhole(result, size, call);
                tidyUp();
            });
    };
    if (const auto found = sendingCalls.find(call); found != sendingCalls.end()) {
        return measure([] {},
                       [&] { result = found->second(connection.near(), bytes.data(), size); },
                       [&] { connection.drainFarEnd(size); });
    }
    if (const auto found = receivingCalls.find(call); found != receivingCalls.end()) {
        return measure([&] { connection.answerFromFarEnd(bytes.data(), size); },
                       [&] { result = found->second(connection.near(), bytes.data(), size); },
                       [] {});
    }
    return measure([] {}, [] {}, [] {});
}

double measureBulkSend(const sockaddr_in& reader, std::size_t size, const Floor& floor, int count) {
    static const int descriptor = connectedSocket(reader);
    const std::string bytes = textPayload(size);
    const std::string message = textPayload(floor.length);
    return medianOfSingle(
        count, [] {},
        [&] {
            checkWhole(send(descriptor, bytes.data(), size, 0), size, "send");
            sendFloor(floor, message);
        },
        [] {});
}

FlatOut runFlatOut(double seconds, std::size_t size, const Floor& floor) {
    const OwnConnection& connection = ownConnection();
    const std::string bytes = textPayload(size);
    const std::string message = textPayload(floor.length);
    std::vector<std::int64_t> times;
    const std::int64_t start = nanosecondsNow();
    const std::int64_t end = start + static_cast<std::int64_t>(seconds * 1e9);
    std::int64_t now = start;
    while (now < end) {
        checkWhole(send(connection.near(), bytes.data(), size, 0), size, "send");
        sendFloor(floor, message);
        const std::int64_t done = nanosecondsNow();
        times.push_back(done - now);
        connection.drainFarEnd(size);
        now = nanosecondsNow();
    }
    FlatOut result{};
    result.calls = static_cast<long>(times.size());
    result.seconds = static_cast<double>(now - start) / 1e9;
    result.isBindPossible = canBind();
    result.median = percentile(times, 0.5);
    result.percentile99 = percentile(times, 0.99);
    result.longest = percentile(times, 1);
    return result;
}

}  // namespace veltra::bench
