// Calls by chance, the same for the same seed, with a line for each: what it gave, the error code,
// and a fingerprint of the memory that it may have changed and of what its other end got.
//
// usage: randomCalls SEED COUNT

#include <netdb.h>
#include <signal.h>

#include <cstdlib>

#include "RandomSockets.h"

namespace {

using probe::Arena;
using probe::Buffer;
using probe::Kind;
using probe::Slot;

std::size_t brokenPipes = 0;

class RandomCalls : private probe::RandomSockets {
public:
    explicit RandomCalls(std::uint64_t seed) : RandomSockets(seed) {}

    void make(std::uint64_t number) {
        arena_.fill(number);
        std::printf("%llu ", static_cast<unsigned long long>(number));
        constexpr Call calls[] = {&RandomCalls::open,
                                  &RandomCalls::openServer,
                                  &RandomCalls::openTcp,
                                  &RandomCalls::openClient,
                                  &RandomCalls::openClient,
                                  &RandomCalls::openDatagram,
                                  &RandomCalls::openOther,
                                  &RandomCalls::bindIt,
                                  &RandomCalls::bindIt,
                                  &RandomCalls::listenOn,
                                  &RandomCalls::acceptOn,
                                  &RandomCalls::acceptOn,
                                  &RandomCalls::closeIt,
                                  &RandomCalls::connectIt,
                                  &RandomCalls::connectIt,
                                  &RandomCalls::connectIt,
                                  &RandomCalls::readFrom,
                                  &RandomCalls::readFrom,
                                  &RandomCalls::writeTo,
                                  &RandomCalls::writeTo,
                                  &RandomCalls::sendOn,
                                  &RandomCalls::sendOn,
                                  &RandomCalls::receive,
                                  &RandomCalls::receive,
                                  &RandomCalls::sendMessage,
                                  &RandomCalls::sendMessage,
                                  &RandomCalls::receiveMessage,
                                  &RandomCalls::receiveMessage,
                                  &RandomCalls::sendWithAddress,
                                  &RandomCalls::sendWithAddress,
                                  &RandomCalls::receiveWithAddress,
                                  &RandomCalls::receiveWithAddress,
                                  &RandomCalls::lookUp,
                                  &RandomCalls::selectSome,
                                  &RandomCalls::selectWithMask,
                                  &RandomCalls::setOption,
                                  &RandomCalls::getOption,
                                  &RandomCalls::ownName,
                                  &RandomCalls::peersName,
                                  &RandomCalls::feed,
                                  &RandomCalls::feed,
                                  &RandomCalls::feed,
                                  &RandomCalls::feed,
                                  &RandomCalls::visit,
                                  &RandomCalls::visit,
                                  &RandomCalls::endPeer};
        (this->*calls[arguments_.below(std::size(calls))])();
    }

private:
    using Call = void (RandomCalls::*)();

    void readFrom() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Buffer buffer = arguments_.buffer(slot, true);
        report("read", slot, [=] { return read(fd, buffer.bytes, buffer.length); });
        std::printf("\n");
    }

    void writeTo() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Buffer buffer = arguments_.buffer(slot, false);
        reportSent(slot,
                   report("write", slot, [=] { return write(fd, buffer.bytes, buffer.length); }));
    }

    void sendOn() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Buffer buffer = arguments_.buffer(slot, false);
        const int flags = arguments_.flags();
        reportSent(slot, report("send", slot,
                                [=] { return send(fd, buffer.bytes, buffer.length, flags); }));
    }

    void receive() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Buffer buffer = arguments_.buffer(slot, true);
        const int flags = arguments_.flags();
        report("recv", slot, [=] { return recv(fd, buffer.bytes, buffer.length, flags); });
        std::printf("\n");
    }

    void sendMessage() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const msghdr* const header = arguments_.header(slot, false);
        const int flags = arguments_.flags();
        reportSent(slot, report("sendmsg", slot, [=] { return sendmsg(fd, header, flags); }));
    }

    void receiveMessage() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        msghdr* const header = arguments_.header(slot, true);
        const int flags = arguments_.flags();
        report("recvmsg", slot, [=] { return recvmsg(fd, header, flags); });
        std::printf("\n");
    }

    // A null destination becomes an empty one, which makes a difference to datagrams, and to
    // lengths that do not fit.
    void sendWithAddress() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Buffer buffer = arguments_.buffer(slot, false);
        const int flags = arguments_.flags();
        socklen_t length = 0;
        const sockaddr* to = arguments_.destination(slot, length);
        if (to == nullptr && slot != nullptr && slot->kind == Kind::udp)
            to = arena_.at<sockaddr>(Arena::namePlace);
        if (to == nullptr) length = 0;
        reportSent(slot, report("sendto", slot, [=] {
                       return sendto(fd, buffer.bytes, buffer.length, flags, to, length);
                   }));
    }

    void receiveWithAddress() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Buffer buffer = arguments_.buffer(slot, true);
        const int flags = arguments_.flags();
        const PeerArea peer = peerArea();
        report(
            "recvfrom", slot,
            [=] {
                return recvfrom(fd, buffer.bytes, buffer.length, flags, peer.address, peer.length);
            },
            peer.isCompared);
        std::printf("\n");
    }

    // Names that no other machine is asked for.
    void lookUp() {
        addrinfo hints{};
        hints.ai_family = arguments_.oneOf<int>({AF_UNSPEC, AF_INET, AF_INET6, 99});
        hints.ai_socktype = arguments_.oneOf<int>({0, SOCK_STREAM, SOCK_DGRAM, 77});
        hints.ai_flags = AI_NUMERICHOST | arguments_.oneOf<int>({0, AI_PASSIVE, AI_CANONNAME,
                                                                 AI_NUMERICSERV, 1 << 20});
        const char* const node =
            arguments_.oneOf<const char*>({"127.0.0.1", "::1", "nobody", "", nullptr});
        const char* const service = arguments_.oneOf<const char*>({"80", "http", "?", "", nullptr});
        addrinfo* found = nullptr;
        const int result = getaddrinfo(node, service, &hints, &found);
        std::printf("getaddrinfo: %d", result);
        for (const addrinfo* element = result == 0 ? found : nullptr; element != nullptr;
             element = element->ai_next) {
            std::printf(" %d %d %d %llx", element->ai_family, element->ai_socktype,
                        element->ai_protocol,
                        static_cast<unsigned long long>(
                            Arena::fingerprintOf(element->ai_addr, element->ai_addrlen)));
        }
        if (result == 0) freeaddrinfo(found);
        std::printf("\n");
    }

    int someCountOfDescriptors() {
        return arguments_.oneOf<int>({0, 1, 8, 20, 64, 256, 1024, -1, INT32_MIN});
    }

    void selectSome() {
        auto* const time = arena_.at<timeval>(Arena::timePlace);
        *time = arguments_.oneIn(6) ? timeval{-1, 5} : timeval{0, 0};
        fd_set* const sets[] = {arguments_.descriptors(0), arguments_.descriptors(1),
                                arguments_.descriptors(2)};
        const int count = someCountOfDescriptors();
        report("select", nullptr, [&] { return select(count, sets[0], sets[1], sets[2], time); });
        std::printf("\n");
    }

    void selectWithMask() {
        auto* const time = arena_.at<timespec>(Arena::timePlace);
        *time = arguments_.oneIn(6) ? timespec{-1, 5} : timespec{0, 0};
        fd_set* const sets[] = {arguments_.descriptors(0), arguments_.descriptors(1),
                                arguments_.descriptors(2)};
        const int count = someCountOfDescriptors();
        const auto* const mask = reinterpret_cast<const sigset_t*>(
            arguments_.oneOf<char*>({static_cast<char*>(nullptr), arena_.unreadable()}));
        report("pselect", nullptr,
               [&] { return pselect(count, sets[0], sets[1], sets[2], time, mask); });
        std::printf("\n");
    }

    // Options whose values are the same in every run, and that let nothing wait.
    struct Option {
        int level;
        int name;
    };
    Option someOption() {
        return arguments_.oneOf<Option>({{SOL_SOCKET, SO_TYPE},
                                         {SOL_SOCKET, SO_ERROR},
                                         {SOL_SOCKET, SO_REUSEADDR},
                                         {SOL_SOCKET, SO_KEEPALIVE},
                                         {SOL_SOCKET, SO_DOMAIN},
                                         {SOL_SOCKET, SO_PROTOCOL},
                                         {SOL_SOCKET, SO_ACCEPTCONN},
                                         {SOL_SOCKET, SO_BROADCAST},
                                         {IPPROTO_TCP, TCP_NODELAY},
                                         {IPPROTO_TCP, TCP_KEEPIDLE},
                                         {IPPROTO_IP, IP_TOS},
                                         {IPPROTO_IPV6, IPV6_V6ONLY},
                                         {SOL_SOCKET, 9999},
                                         {-1, 1},
                                         {INT32_MAX, INT32_MIN}});
    }

    char* optionValue(int value) {
        *arena_.at<int>(Arena::valuePlace) = value;
        return arguments_.oneOf<char*>(
            {arena_.writable() + Arena::valuePlace, arena_.writable() + Arena::valuePlace,
             arena_.writable() + Arena::valuePlace, static_cast<char*>(nullptr), arena_.readOnly(),
             arena_.unreadable()});
    }

    void setOption() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Option option = someOption();
        const char* const value = optionValue(arguments_.oneOf<int>({0, 1, 30, -1}));
        const socklen_t length = arguments_.oneOf<socklen_t>({4, 4, 4, 0, 1, 8, 4096, UINT32_MAX});
        report("setsockopt", slot,
               [=] { return setsockopt(fd, option.level, option.name, value, length); });
        std::printf("\n");
    }

    void getOption() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const Option option = someOption();
        char* const value = optionValue(0);
        socklen_t* const length =
            arguments_.length(arguments_.oneOf<socklen_t>({4, 4, 4, 0, 1, 8, 4096, UINT32_MAX}));
        report("getsockopt", slot,
               [=] { return getsockopt(fd, option.level, option.name, value, length); });
        std::printf("\n");
    }

    void ownName() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        sockaddr* const area = arguments_.nameArea();
        socklen_t* const length = arguments_.length(arguments_.someLength());
        report("getsockname", slot, [=] { return getsockname(fd, area, length); });
        std::printf("\n");
    }

    void peersName() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        sockaddr* const area = arguments_.nameArea();
        socklen_t* const length = arguments_.length(arguments_.someLength());
        report("getpeername", slot, [=] { return getpeername(fd, area, length); });
        std::printf("\n");
    }

    void feed() {
        Slot* const slot =
            population_.next(arguments_.below(probe::Population::size), [](const Slot& candidate) {
                return candidate.peer != -1 || candidate.kind == Kind::udp;
            });
        const int count = 1 + static_cast<int>(arguments_.below(1000));
        if (slot != nullptr) population_.feed(*slot, count);
        std::printf("feed\n");
    }

    void visit() {
        Slot* const slot =
            population_.next(arguments_.below(probe::Population::size),
                             [](const Slot& candidate) { return candidate.isListening; });
        if (slot != nullptr) population_.visit(*slot);
        std::printf("visit\n");
    }

    void endPeer() {
        Slot* const slot = arguments_.slot();
        if (slot != nullptr && arguments_.oneIn(3)) population_.closePeer(*slot);
        std::printf("end\n");
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    probe::tellProcess();
    signal(SIGPIPE, [](int) { ++brokenPipes; });
    RandomCalls calls(std::strtoull(argv[1], nullptr, 10));
    const std::uint64_t count = std::strtoull(argv[2], nullptr, 10);
    for (std::uint64_t number = 1; number <= count; ++number)
        calls.make(number);
    std::printf("broken pipes: %zu\n", brokenPipes);
    return 0;
}
