#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "report/Endpoint.h"

namespace veltra {

// One TCP segment, to be made a packet of.
struct TcpSegment {
    // More does not fit into a packet.
    static constexpr std::size_t mostPayload = std::size_t{60} << 10U;

    Endpoint from;
    Endpoint to;
    std::uint32_t sequence = 0;
    std::uint32_t acknowledgement = 0;
    std::uint8_t flags = 0;    // TH_SYN and the like; with TH_SYN it has the options of one
    std::string_view payload;  // not longer than mostPayload
};

// Makes the packet, from the IP header on, with correct lengths and checksums. Both ends have to be
// of one family. What `packet` held before is lost.
void makePacket(const TcpSegment& segment, std::string& packet);

}  // namespace veltra
