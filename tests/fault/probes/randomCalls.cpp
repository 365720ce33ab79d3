// Calls by chance, the same for the same seed, with a line for each: what it gave, the error code,
// and a fingerprint of the memory that it may have changed and of what its other end got.
//
// usage: randomCalls SEED COUNT

#include <netdb.h>
#include <signal.h>

#include <cstdlib>

#include "RandomArguments.h"

namespace {

using probe::Arena;
using probe::Buffer;
using probe::Kind;
using probe::Slot;

std::size_t brokenPipes = 0;

class RandomCalls {
public:
    explicit RandomCalls(std::uint64_t seed) : arguments_(seed, arena_, population_) {}

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

    template <typename RealCall>
    long report(const char* name, const Slot* slot, RealCall&& call, bool isMemoryCompared = true) {
        const long place = slot == nullptr ? -1 : slot - &population_.slot(0);
        errno = probe::untouched;
        const auto result = static_cast<long>(call());
        lastError_ = errno;
        std::printf("%s on %ld: %ld errno %d", name, place, result, lastError_);
        if (isMemoryCompared)
            std::printf(" memory %llx", static_cast<unsigned long long>(arena_.fingerprint()));
        return result;
    }

    void reportSent(Slot* slot, long result) {
        if (slot != nullptr && result >= 0 && (result > 0 || slot->kind == Kind::udp)) {
            const std::string sent = population_.takeSent(*slot, static_cast<std::size_t>(result));
            std::printf(" sent %llx", static_cast<unsigned long long>(
                                          Arena::fingerprintOf(sent.data(), sent.size())));
        }
        std::printf("\n");
    }

    void closeSlot(Slot& slot) {
        if (slot.kind == Kind::closed) return;
        std::printf("close: %d ", close(slot.fd));
        population_.closePeer(slot);
        slot = {};
    }

    void inhabit(int fd, Kind kind) {
        if (fd < 0) return;
        Slot& slot = population_.slot(arguments_.below(probe::Population::size));
        closeSlot(slot);
        population_.settle(slot, fd, kind);
    }

    // No raw sockets: what comes there is not ours.
    void open() {
        const int domain =
            arguments_.oneOf<int>({AF_INET, AF_INET, AF_INET6, AF_UNIX, -1, 99, INT32_MAX});
        const int type = arguments_.oneOf<int>({SOCK_STREAM, SOCK_DGRAM, 0, 9, -1, INT32_MAX}) |
                         arguments_.oneOf<int>({0, SOCK_NONBLOCK, SOCK_CLOEXEC, 1 << 20});
        const int protocol = arguments_.oneOf<int>({0, 0, 0, IPPROTO_TCP, IPPROTO_UDP, 255, -1});
        const long fd = report("socket", nullptr, [=] { return socket(domain, type, protocol); });
        const bool isInternet = domain == AF_INET || domain == AF_INET6;
        const int plainType = type & 0xF;
        inhabit(static_cast<int>(fd), !isInternet                ? Kind::local
                                      : plainType == SOCK_STREAM ? Kind::tcp
                                                                 : Kind::udp);
        std::printf("\n");
    }

    int streamType() { return SOCK_STREAM | (arguments_.oneIn(4) ? 0 : SOCK_NONBLOCK); }

    Slot* inhabit(const char* name, int type, Kind kind) {
        Slot& slot = population_.slot(arguments_.below(probe::Population::size));
        closeSlot(slot);
        const long fd = report(name, &slot, [=] { return socket(AF_INET, type, 0); });
        population_.settle(slot, static_cast<int>(fd), kind);
        return &slot;
    }

    void openTcp() {
        inhabit("socket", streamType(), Kind::tcp);
        std::printf("\n");
    }

    void openClient() {
        Slot* const slot = inhabit("client", streamType(), Kind::tcp);
        const sockaddr_in address = population_.serverAddress();
        report("connect", slot,
               [&] { return connect(slot->fd, probe::generic(address), sizeof(address)); });
        population_.takePeer(*slot);
        std::printf("\n");
    }

    void bindToAnyPort(const Slot* slot) {
        const sockaddr_in any = probe::ipv4("127.0.0.1", 0);
        report("bind", slot, [&] { return bind(slot->fd, probe::generic(any), sizeof(any)); });
    }

    void openServer() {
        Slot* const slot = inhabit("server", streamType(), Kind::tcp);
        bindToAnyPort(slot);
        report("listen", slot, [=] { return listen(slot->fd, 100); });
        slot->isListening = true;
        std::printf("\n");
    }

    void openDatagram() {
        Slot* const slot = inhabit("datagram", SOCK_DGRAM | SOCK_NONBLOCK, Kind::udp);
        bindToAnyPort(slot);
        std::printf("\n");
    }

    // What the agent does not know.
    void openOther() {
        int ends[2] = {-1, -1};
        switch (arguments_.below(4)) {
            case 0:
                if (pipe2(ends, O_NONBLOCK) != 0) return;
                break;
            case 1:
                if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) return;
                break;
            case 2:
                if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends) != 0) return;
                break;
            default:
                ends[0] = ::open("/dev/zero", O_RDWR);
                ends[1] = ::open("random.txt", O_RDWR | O_CREAT | O_TRUNC, 0600);
        }
        inhabit(ends[0], Kind::other);
        inhabit(ends[1], Kind::other);
        std::printf("others\n");
    }

    void bindIt() {
        Slot* const slot = arguments_.slot();
        socklen_t length = 0;
        const sockaddr* address = arguments_.destination(slot, length);
        if (arguments_.oneIn(2)) {
            *arena_.at<sockaddr_in>(Arena::namePlace) = probe::ipv4("127.0.0.1", 0);
            address = arena_.at<sockaddr>(Arena::namePlace);
            length = sizeof(sockaddr_in);
        }
        const int fd = arguments_.numberOf(slot);
        report("bind", slot, [=] { return bind(fd, address, length); });
        std::printf("\n");
    }

    void listenOn() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        const int backlog = arguments_.oneOf<int>({8, 100, INT32_MAX, -1});
        const long result = report("listen", slot, [=] { return listen(fd, backlog); });
        if (slot != nullptr && result == 0 && slot->kind == Kind::tcp) slot->isListening = true;
        std::printf("\n");
    }

    // Where less than a whole address is asked for, the agent asks for more.
    static bool isComparable(const sockaddr* area, const socklen_t* length, socklen_t value) {
        return area != nullptr && length != nullptr && value >= 16;
    }

    void putInPlace(sockaddr*& area, socklen_t*& length) const {
        area = arena_.at<sockaddr>(Arena::namePlace);
        length = arena_.at<socklen_t>(Arena::lengthPlace);
    }

    void acceptOn() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        sockaddr* area = arguments_.nameArea();
        const socklen_t value = arguments_.someLength();
        socklen_t* length = arguments_.length(value);
        if (area == nullptr) length = nullptr;
        const bool isOwn = area != nullptr && !isComparable(area, length, value);
        if (isOwn) putInPlace(area, length);
        const long accepted = report(
            "accept", slot, [=] { return accept(fd, area, length); }, !isOwn);
        if (accepted >= 0) inhabit(static_cast<int>(accepted), Kind::other);
        std::printf("\n");
    }

    void closeIt() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        report("close", slot, [=] { return close(fd); });
        if (slot != nullptr) {
            population_.closePeer(*slot);
            *slot = {};
        }
        std::printf("\n");
    }

    void connectIt() {
        Slot* const slot = arguments_.slot();
        const int fd = arguments_.numberOf(slot);
        socklen_t length = 0;
        const sockaddr* const address = arguments_.destination(slot, length);
        const bool isServer = slot != nullptr && slot->kind == Kind::tcp && length >= 16 &&
                              isAt(address, population_.serverAddress());
        const long result = report("connect", slot, [=] { return connect(fd, address, length); });
        if (isServer && (result == 0 || lastError_ == EINPROGRESS)) population_.takePeer(*slot);
        std::printf("\n");
    }

    bool isAt(const sockaddr* address, const sockaddr_in& wanted) const {
        return address == arena_.at<sockaddr>(Arena::namePlace) &&
               std::memcmp(address, &wanted, sizeof(wanted)) == 0;
    }

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
        sockaddr* area = arguments_.nameArea();
        const socklen_t value = arguments_.someLength();
        socklen_t* length = arguments_.length(value);
        if (area == nullptr) length = nullptr;
        const bool isOwn = area != nullptr && !isComparable(area, length, value);
        if (isOwn) putInPlace(area, length);
        report(
            "recvfrom", slot,
            [=] { return recvfrom(fd, buffer.bytes, buffer.length, flags, area, length); }, !isOwn);
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

    Arena arena_;
    probe::Population population_;
    probe::RandomArguments arguments_;
    int lastError_ = 0;
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
