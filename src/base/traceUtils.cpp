#include "base/traceUtils.h"

#include <sys/socket.h>

#include <cstdio>
#include <cstring>

namespace {

const char* baseTypeName(int type) {
    switch (type) {
        case 1:
            return "SOCK_STREAM";
        case 2:
            return "SOCK_DGRAM";
        case 3:
            return "SOCK_RAW";
        case 4:
            return "SOCK_RDM";
        case 5:
            return "SOCK_SEQPACKET";
        case 10:
            return "SOCK_PACKET";
        default:
            return "<unknown>";
    }
}

struct FlagName {
    int flag;
    const char* name;
};

constexpr FlagName flagNames[] = {{0x2, "MSG_PEEK"}, {0x1, "MSG_OOB"}, {0x100, "MSG_WAITALL"}};

struct CommandName {
    unsigned long command;
    const char* name;
};

// The C library no longer has the header that declared these.
constexpr CommandName streamsCommands[] = {
    {0x5301, "I_NREAD"},   {0x5302, "I_PUSH"},    {0x5303, "I_POP"},       {0x5304, "I_LOOK"},
    {0x5305, "I_FLUSH"},   {0x5306, "I_SRDOPT"},  {0x5307, "I_GRDOPT"},    {0x5308, "I_STR"},
    {0x5309, "I_SETSIG"},  {0x530A, "I_GETSIG"},  {0x530B, "I_FIND"},      {0x530C, "I_LINK"},
    {0x530D, "I_UNLINK"},  {0x530E, "I_RECVFD"},  {0x530F, "I_PEEK"},      {0x5310, "I_FDINSERT"},
    {0x5311, "I_SENDFD"},  {0x5313, "I_SWROPT"},  {0x5314, "I_GWROPT"},    {0x5315, "I_LIST"},
    {0x5316, "I_PLINK"},   {0x5317, "I_PUNLINK"}, {0x531C, "I_FLUSHBAND"}, {0x531D, "I_CKBAND"},
    {0x531E, "I_GETBAND"}, {0x531F, "I_ATMARK"},  {0x5320, "I_SETCLTIME"}, {0x5321, "I_GETCLTIME"},
    {0x5322, "I_CANPUT"},
};

}  // namespace

const char* protocolToString(int protocol) {
    switch (protocol) {
        case 0:
            return "Default Protocol";
        case 3:
            return "BTHPROTO_RFCOMM";
        case 6:
            return "IPPROTO_TCP";
        case 17:
            return "IPPROTO_UDP";
        case 113:
            return "IPPROTO_RM";
        default:
            return "<unknown>";
    }
}

const char* typeToString(int type) {
    // Room for the longest combination; one per thread, so that threads do not read each other's.
    static constinit thread_local char buffer[48] = {};
    snprintf(buffer, sizeof(buffer), "%s%s%s",
             (type & SOCK_NONBLOCK) != 0 ? "SOCK_NONBLOCK | " : "",
             (type & SOCK_CLOEXEC) != 0 ? "SOCK_CLOEXEC | " : "",
             baseTypeName(type & ~(SOCK_NONBLOCK | SOCK_CLOEXEC)));
    return buffer;
}

void getFlagImage(int flags, char* buffer) {
    constexpr std::size_t smallestText = 50;
    if (buffer == nullptr || std::strlen(buffer) < smallestText) return;
    char* end = buffer;
    for (const auto& [flag, name] : flagNames) {
        if ((flags & flag) != 0) end = stpcpy(stpcpy(end, end == buffer ? "" : "| "), name);
    }
    if (end == buffer) std::strcpy(buffer, "<NONE>");
}

const char* getIoctlCmdKind(unsigned long command) {
    for (const auto& [number, name] : streamsCommands) {
        if (number == command) return name;
    }
    return "<unknown>";
}

const char* getIoctlOptKind() {
    return "";
}

std::size_t wtoc(char* destination, const wchar_t* source) {
    std::size_t count = 0;
    for (; source[count] != L'\0'; ++count)
        destination[count] = static_cast<char>(source[count]);
    destination[count] = '\0';
    return count;
}
