#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>
#include <thread>

#include "base/traceUtils.h"

namespace {

TEST(ProtocolNames, EveryRowAndTheNumbersAround) {
    const std::map<int, std::string> names = {{0, "Default Protocol"},
                                              {3, "BTHPROTO_RFCOMM"},
                                              {6, "IPPROTO_TCP"},
                                              {17, "IPPROTO_UDP"},
                                              {113, "IPPROTO_RM"}};
    for (int protocol = -2; protocol <= 300; ++protocol) {
        const auto row = names.find(protocol);
        EXPECT_EQ(protocolToString(protocol), row == names.end() ? "<unknown>" : row->second)
            << protocol;
    }
}

constexpr int nonBlocking = 0x800;
constexpr int closeOnExec = 0x80000;

struct TypeRow {
    int type;
    const char* name;
};

constexpr TypeRow types[] = {
    {0, "<unknown>"},      {1, "SOCK_STREAM"},     {2, "SOCK_DGRAM"},   {3, "SOCK_RAW"},
    {4, "SOCK_RDM"},       {5, "SOCK_SEQPACKET"},  {6, "<unknown>"},    {7, "<unknown>"},
    {8, "<unknown>"},      {9, "<unknown>"},       {10, "SOCK_PACKET"}, {11, "<unknown>"},
    {0x1001, "<unknown>"}, {0x10001, "<unknown>"},
};

TEST(TypeNames, EveryBaseTypeWithEveryCombinationOfFlags) {
    for (const TypeRow& row : types) {
        const std::string base = row.name;
        EXPECT_EQ(typeToString(row.type), base) << row.type;
        EXPECT_EQ(typeToString(row.type | nonBlocking), "SOCK_NONBLOCK | " + base) << row.type;
        EXPECT_EQ(typeToString(row.type | closeOnExec), "SOCK_CLOEXEC | " + base) << row.type;
        EXPECT_EQ(typeToString(row.type | nonBlocking | closeOnExec),
                  "SOCK_NONBLOCK | SOCK_CLOEXEC | " + base)
            << row.type;
    }
    EXPECT_STREQ(typeToString(-1), "SOCK_NONBLOCK | SOCK_CLOEXEC | <unknown>");
}

TEST(TypeNames, FixedCombinations) {
    EXPECT_STREQ(typeToString(0x80801), "SOCK_NONBLOCK | SOCK_CLOEXEC | SOCK_STREAM");
    EXPECT_STREQ(typeToString(0x80805), "SOCK_NONBLOCK | SOCK_CLOEXEC | SOCK_SEQPACKET");
    EXPECT_STREQ(typeToString(7), "<unknown>");
}

TEST(TypeNames, OneBufferPerThread) {
    const char* const first = typeToString(1);
    const char* const second = typeToString(0x80802);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "SOCK_NONBLOCK | SOCK_CLOEXEC | SOCK_DGRAM");
    std::thread([&] {
        EXPECT_STREQ(typeToString(3), "SOCK_RAW");
        EXPECT_NE(typeToString(3), first);
    }).join();
    EXPECT_STREQ(first, "SOCK_NONBLOCK | SOCK_CLOEXEC | SOCK_DGRAM");
}

struct FlagRow {
    int flags;
    const char* image;
};

constexpr FlagRow flagImages[] = {
    {0x000, "<NONE>"},
    {0x001, "MSG_OOB"},
    {0x002, "MSG_PEEK"},
    {0x003, "MSG_PEEK| MSG_OOB"},
    {0x100, "MSG_WAITALL"},
    {0x101, "MSG_OOB| MSG_WAITALL"},
    {0x102, "MSG_PEEK| MSG_WAITALL"},
    {0x103, "MSG_PEEK| MSG_OOB| MSG_WAITALL"},
};

TEST(FlagImage, EveryCombinationWithAndWithoutOtherFlags) {
    for (const FlagRow& row : flagImages) {
        for (const int others : {0, 0x4000, ~0x103}) {
            std::string buffer(50, 'x');
            getFlagImage(row.flags | others, buffer.data());
            EXPECT_STREQ(buffer.c_str(), row.image) << (row.flags | others);
        }
    }
}

TEST(FlagImage, LeavesBuffersOfLessThan50CharactersAlone) {
    for (const std::size_t length : {0U, 1U, 49U}) {
        std::string buffer(length, 'x');
        getFlagImage(0x103, buffer.data());
        EXPECT_EQ(buffer, std::string(length, 'x'));
    }
    getFlagImage(0x103, nullptr);
}

TEST(FlagImage, WritesNothingBehindItsTerminator) {
    std::string buffer(60, 'x');
    getFlagImage(0, buffer.data());
    EXPECT_EQ(buffer, std::string("<NONE>\0", 7) + std::string(53, 'x'));
}

TEST(IoctlNames, EveryCommandAndTheNumbersAround) {
    const std::map<unsigned long, std::string> names = {
        {0x5301, "I_NREAD"},     {0x5302, "I_PUSH"},      {0x5303, "I_POP"},
        {0x5304, "I_LOOK"},      {0x5305, "I_FLUSH"},     {0x5306, "I_SRDOPT"},
        {0x5307, "I_GRDOPT"},    {0x5308, "I_STR"},       {0x5309, "I_SETSIG"},
        {0x530A, "I_GETSIG"},    {0x530B, "I_FIND"},      {0x530C, "I_LINK"},
        {0x530D, "I_UNLINK"},    {0x530E, "I_RECVFD"},    {0x530F, "I_PEEK"},
        {0x5310, "I_FDINSERT"},  {0x5311, "I_SENDFD"},    {0x5313, "I_SWROPT"},
        {0x5314, "I_GWROPT"},    {0x5315, "I_LIST"},      {0x5316, "I_PLINK"},
        {0x5317, "I_PUNLINK"},   {0x531C, "I_FLUSHBAND"}, {0x531D, "I_CKBAND"},
        {0x531E, "I_GETBAND"},   {0x531F, "I_ATMARK"},    {0x5320, "I_SETCLTIME"},
        {0x5321, "I_GETCLTIME"}, {0x5322, "I_CANPUT"}};
    ASSERT_EQ(names.size(), 29U);
    for (unsigned long command = 0x52f0; command <= 0x5340; ++command) {
        const auto row = names.find(command);
        EXPECT_EQ(getIoctlCmdKind(command), row == names.end() ? "<unknown>" : row->second)
            << std::hex << command;
    }
    EXPECT_STREQ(getIoctlCmdKind(0), "<unknown>");
    EXPECT_STREQ(getIoctlCmdKind(1), "<unknown>");
    EXPECT_STREQ(getIoctlCmdKind(0x15301), "<unknown>");
    EXPECT_STREQ(getIoctlCmdKind(0x100005301), "<unknown>");
    EXPECT_STREQ(getIoctlCmdKind(ULONG_MAX), "<unknown>");
}

TEST(IoctlNames, OptionsHaveNone) {
    EXPECT_STREQ(getIoctlOptKind(), "");
}

TEST(WideText, KeepsTheLow8BitsOfEachCharacter) {
    const wchar_t source[] = {L'A', 0x141, 0x1ff, 0x7fffff42, 0x100, L'z', L'\0', L'!', L'\0'};
    std::string destination(10, '#');
    EXPECT_EQ(wtoc(destination.data(), source), 6U);
    EXPECT_EQ(destination, std::string("AA\xff"
                                       "B\0z\0###",
                                       10));
}

TEST(WideText, EmptyTextIsOneZero) {
    char destination[] = "##";
    EXPECT_EQ(wtoc(destination, L""), 0U);
    EXPECT_EQ(std::string(destination, 3), std::string("\0#\0", 3));
}

}  // namespace
