#include <cstdint>

#include "base/traceUtils.h"

namespace {

struct Family {
    const char* name;
    const char* comment;
};

constexpr Family families[37] = {
    {"AF_UNSPEC", "unspecified"},
    {"AF_UNIX", "local to host (pipes, portals)"},
    {"AF_INET", "internetwork: UDP, TCP, etc."},
    {"AF_IMPLINK", "arpanet imp addresses"},
    {"AF_PUP", "pup protocols: e.g. BSP"},
    {"AF_CHAOS", "mit CHAOS protocols"},
    {"AF_NS", "XEROX NS protocols"},
    {"AF_ISO", "ISO protocols"},
    {"AF_ECMA", "european computer manufacturers"},
    {"AF_DATAKIT", "datakit protocols"},
    {"AF_CCITT", "CCITT protocols, X.25 etc"},
    {"AF_SNA", "IBM SNA"},
    {"AF_DECnet", "DECnet"},
    {"AF_DLI", "Direct data link interface"},
    {"AF_LAT", "LAT"},
    {"AF_HYLINK", "NSC Hyperchannel"},
    {"AF_APPLETALK", "AppleTalk"},
    {"AF_NETBIOS", "NetBios-style addresses"},
    {"AF_VOICEVIEW", "VoiceView"},
    {"AF_FIREFOX", "Protocols from Firefox"},
    {"AF_UNKNOWN1", "Somebody is using this!"},
    {"AF_BAN", "Banyan"},
    {"AF_ATM", "Native ATM Services"},
    {"AF_INET6", "Internetwork Version 6"},
    {"AF_CLUSTER", "Microsoft Wolfpack"},
    {"AF_12844", "IEEE 1284.4 WG AF"},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
    {nullptr, nullptr},
};

constexpr std::uint16_t lastFamily = 36;

constexpr const char* linuxFamilies[] = {
    "AF_UNSPEC",   "AF_UNIX",   "AF_INET",    "AF_AX25",   "AF_IPX",  "AF_APPLETALK", "AF_NETROM",
    "AF_BRIDGE",   "AF_ATMPVC", "AF_X25",     "AF_INET6",  "AF_ROSE", "AF_DECnet",    "AF_NETBEUI",
    "AF_SECURITY", "AF_KEY",    "AF_NETLINK", "AF_PACKET", "AF_ASH",  "AF_ECONET",    "AF_ATMSVC",
    "AF_RDS",      "AF_SNA",    "AF_IRDA",    "AF_PPPOX",
};

constexpr int linuxFamilyCount = sizeof(linuxFamilies) / sizeof(linuxFamilies[0]);
constexpr int linuxBluetooth = 32;

}  // namespace

const char* familyToString(int family) {
    const auto number = static_cast<std::uint16_t>(family);
    return number > lastFamily ? "" : families[number].name;
}

const char* familyToCommentString(int family) {
    const auto number = static_cast<std::uint16_t>(family);
    return number > lastFamily ? "" : families[number].comment;
}

const char* afToString(int family) {
    if (family >= 0 && family < linuxFamilyCount) return linuxFamilies[family];
    return family == linuxBluetooth ? "AF_BTM" : "<unknown>";
}
