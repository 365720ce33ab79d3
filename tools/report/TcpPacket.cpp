#include "report/TcpPacket.h"

#include <netinet/ip.h>
#include <netinet/ip6.h>
#include <netinet/tcp.h>

#include <array>
#include <cstring>

namespace veltra {

namespace {

constexpr std::uint8_t hopLimit = 64;
constexpr std::uint8_t ipVersion4 = 4;
// Each end can take a gigabyte at once, so that nobody ever seems to overrun the other.
constexpr std::uint16_t window = 65535;
constexpr std::array<unsigned char, 8> synOptions = {TCPOPT_MAXSEG,
                                                     TCPOLEN_MAXSEG,
                                                     TcpSegment::mostPayload >> 8U,
                                                     TcpSegment::mostPayload & 0xFFU,
                                                     TCPOPT_NOP,
                                                     TCPOPT_WINDOW,
                                                     TCPOLEN_WINDOW,
                                                     14};

// The sum of 16-bit words in network order that the Internet's checksums are made of.
class ChecksumSum {
public:
    // Only the last bytes to be added may be odd in number.
    void add(const void* bytes, std::size_t count) {
        const auto* const byte = static_cast<const unsigned char*>(bytes);
        for (std::size_t i = 0; i + 1 < count; i += 2)
            sum_ += static_cast<std::uint32_t>(byte[i] << 8 | byte[i + 1]);
        if (count % 2 != 0) sum_ += static_cast<std::uint32_t>(byte[count - 1] << 8);
    }
    void add(std::uint16_t number) { sum_ += number; }

    // In network byte order.
    std::uint16_t checksum() const {
        std::uint64_t folded = sum_;
        while (folded > 0xFFFF)
            folded = (folded & 0xFFFF) + (folded >> 16U);
        return htons(static_cast<std::uint16_t>(~folded));
    }

private:
    std::uint64_t sum_ = 0;
};

template <typename Header>
void append(const Header& header, std::string& packet) {
    packet.append(reinterpret_cast<const char*>(&header), sizeof(header));
}

ip6_hdr ipv6Header(const TcpSegment& segment, std::size_t tcpLength) {
    ip6_hdr header{};
    header.ip6_vfc = 6U << 4U;
    header.ip6_plen = htons(static_cast<std::uint16_t>(tcpLength));
    header.ip6_nxt = IPPROTO_TCP;
    header.ip6_hlim = hopLimit;
    header.ip6_src = segment.from.ipv6;
    header.ip6_dst = segment.to.ipv6;
    return header;
}

ip ipv4Header(const TcpSegment& segment, std::size_t tcpLength) {
    ip header{};
    header.ip_v = ipVersion4;
    header.ip_hl = sizeof(header) / 4;
    header.ip_len = htons(static_cast<std::uint16_t>(sizeof(header) + tcpLength));
    header.ip_off = htons(IP_DF);
    header.ip_ttl = hopLimit;
    header.ip_p = IPPROTO_TCP;
    header.ip_src = segment.from.ipv4;
    header.ip_dst = segment.to.ipv4;
    ChecksumSum sum;
    sum.add(&header, sizeof(header));
    header.ip_sum = sum.checksum();
    return header;
}

std::uint16_t tcpChecksum(const TcpSegment& segment, const tcphdr& header,
                          std::size_t optionsLength, std::size_t tcpLength) {
    ChecksumSum sum;
    if (segment.from.isIpv6) {
        sum.add(&segment.from.ipv6, sizeof(segment.from.ipv6));
        sum.add(&segment.to.ipv6, sizeof(segment.to.ipv6));
    } else {
        sum.add(&segment.from.ipv4, sizeof(segment.from.ipv4));
        sum.add(&segment.to.ipv4, sizeof(segment.to.ipv4));
    }
    sum.add(IPPROTO_TCP);
    sum.add(static_cast<std::uint16_t>(tcpLength));
    sum.add(&header, sizeof(header));
    sum.add(synOptions.data(), optionsLength);
    sum.add(segment.payload.data(), segment.payload.size());
    return sum.checksum();
}

}  // namespace

void makePacket(const TcpSegment& segment, std::string& packet) {
    const bool hasOptions = (segment.flags & TH_SYN) != 0;
    const std::size_t optionsLength = hasOptions ? synOptions.size() : 0;
    const std::size_t headerLength = sizeof(tcphdr) + optionsLength;
    const std::size_t tcpLength = headerLength + segment.payload.size();

    tcphdr header{};
    header.th_sport = htons(segment.from.port);
    header.th_dport = htons(segment.to.port);
    header.th_seq = htonl(segment.sequence);
    header.th_ack = htonl(segment.acknowledgement);
    header.th_off = static_cast<std::uint8_t>(headerLength / 4) & 0xFU;
    header.th_flags = segment.flags;
    header.th_win = htons(window);
    header.th_sum = tcpChecksum(segment, header, optionsLength, tcpLength);

    packet.clear();
    if (segment.from.isIpv6) {
        append(ipv6Header(segment, tcpLength), packet);
    } else {
        append(ipv4Header(segment, tcpLength), packet);
    }
    append(header, packet);
    packet.append(reinterpret_cast<const char*>(synOptions.data()), optionsLength);
    packet += segment.payload;
}

}  // namespace veltra
