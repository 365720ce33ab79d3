#include <gtest/gtest.h>

#include "base/traceUtils.h"

namespace {

struct FamilyRow {
    int number;
    const char* name;
    const char* comment;
};

constexpr FamilyRow families[] = {
    {0, "AF_UNSPEC", "unspecified"},
    {1, "AF_UNIX", "local to host (pipes, portals)"},
    {2, "AF_INET", "internetwork: UDP, TCP, etc."},
    {3, "AF_IMPLINK", "arpanet imp addresses"},
    {4, "AF_PUP", "pup protocols: e.g. BSP"},
    {5, "AF_CHAOS", "mit CHAOS protocols"},
    {6, "AF_NS", "XEROX NS protocols"},
    {7, "AF_ISO", "ISO protocols"},
    {8, "AF_ECMA", "european computer manufacturers"},
    {9, "AF_DATAKIT", "datakit protocols"},
    {10, "AF_CCITT", "CCITT protocols, X.25 etc"},
    {11, "AF_SNA", "IBM SNA"},
    {12, "AF_DECnet", "DECnet"},
    {13, "AF_DLI", "Direct data link interface"},
    {14, "AF_LAT", "LAT"},
    {15, "AF_HYLINK", "NSC Hyperchannel"},
    {16, "AF_APPLETALK", "AppleTalk"},
    {17, "AF_NETBIOS", "NetBios-style addresses"},
    {18, "AF_VOICEVIEW", "VoiceView"},
    {19, "AF_FIREFOX", "Protocols from Firefox"},
    {20, "AF_UNKNOWN1", "Somebody is using this!"},
    {21, "AF_BAN", "Banyan"},
    {22, "AF_ATM", "Native ATM Services"},
    {23, "AF_INET6", "Internetwork Version 6"},
    {24, "AF_CLUSTER", "Microsoft Wolfpack"},
    {25, "AF_12844", "IEEE 1284.4 WG AF"},
    {26, nullptr, nullptr},
    {27, nullptr, nullptr},
    {28, nullptr, nullptr},
    {29, nullptr, nullptr},
    {30, nullptr, nullptr},
    {31, nullptr, nullptr},
    {32, nullptr, nullptr},
    {33, nullptr, nullptr},
    {34, nullptr, nullptr},
    {35, nullptr, nullptr},
    {36, nullptr, nullptr},
    {37, "", ""},
    {38, "", ""},
    {255, "", ""},
    {65535, "", ""},
    {-1, "", ""},
};

TEST(FamilyNames, EveryPairOfTheTable) {
    for (const FamilyRow& row : families) {
        EXPECT_STREQ(familyToString(row.number), row.name) << row.number;
        EXPECT_STREQ(familyToCommentString(row.number), row.comment) << row.number;
    }
}

TEST(FamilyNames, OnlyTheLow16BitsCount) {
    for (const FamilyRow& row : families) {
        for (const int high : {0x10000, 0x20000, 0x7fff0000}) {
            const int number = row.number | high;
            EXPECT_STREQ(familyToString(number), row.name) << number;
            EXPECT_STREQ(familyToCommentString(number), row.comment) << number;
        }
    }
    EXPECT_STREQ(familyToString(65538), "AF_INET");
    EXPECT_STREQ(familyToCommentString(65538), "internetwork: UDP, TCP, etc.");
}

TEST(FamilyNames, LinuxNumbersReadDifferentlyInTheOtherNumbering) {
    EXPECT_STREQ(familyToString(10), "AF_CCITT");
    EXPECT_STREQ(afToString(10), "AF_INET6");
}

TEST(LinuxFamilyNames, EveryRowAndTheNumbersAround) {
    constexpr const char* names[] = {
        "AF_UNSPEC", "AF_UNIX",    "AF_INET",     "AF_AX25",   "AF_IPX",     "AF_APPLETALK",
        "AF_NETROM", "AF_BRIDGE",  "AF_ATMPVC",   "AF_X25",    "AF_INET6",   "AF_ROSE",
        "AF_DECnet", "AF_NETBEUI", "AF_SECURITY", "AF_KEY",    "AF_NETLINK", "AF_PACKET",
        "AF_ASH",    "AF_ECONET",  "AF_ATMSVC",   "AF_RDS",    "AF_SNA",     "AF_IRDA",
        "AF_PPPOX",  "<unknown>",  "<unknown>",   "<unknown>", "<unknown>",  "<unknown>",
        "<unknown>", "<unknown>",  "AF_BTM",      "<unknown>", "<unknown>",  "<unknown>",
        "<unknown>", "<unknown>"};
    int number = 0;
    for (const char* name : names) {
        EXPECT_STREQ(afToString(number), name) << number;
        ++number;
    }
    EXPECT_EQ(number, 38);
    EXPECT_STREQ(afToString(45), "<unknown>");
    EXPECT_STREQ(afToString(-1), "<unknown>");
    EXPECT_STREQ(afToString(65538), "<unknown>");
}

}  // namespace
