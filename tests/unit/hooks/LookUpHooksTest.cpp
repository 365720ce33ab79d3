#include <cerrno>
#include <cstring>

#include "HookTest.h"
#include "support/HalfReadable.h"

namespace {

using veltra::testing::HalfReadable;
using veltra::testing::ReplacedCall;

constexpr int codeBefore = 77;

// What the scripted functions answer, and the error code that they leave.
addrinfo* foundAddresses = nullptr;
hostent* foundHost = nullptr;
servent* foundService = nullptr;
int answer = 0;
int leftCode = 0;
int codeSeen = 0;

int scriptedGetaddrinfo(const char*, const char*, const addrinfo*, addrinfo** result) {
    codeSeen = errno;
    *result = foundAddresses;
    errno = leftCode;
    return answer;
}

hostent* scriptedGethostbyname(const char*) {
    codeSeen = errno;
    errno = leftCode;
    return foundHost;
}

int scriptedGethostname(char* name, size_t length) {
    codeSeen = errno;
    std::snprintf(name, length, "the-host");
    errno = leftCode;
    return answer;
}

servent* scriptedGetservbyname(const char*, const char*) {
    codeSeen = errno;
    errno = leftCode;
    return foundService;
}

servent* scriptedGetservbyport(int, const char*) {
    codeSeen = errno;
    errno = leftCode;
    return foundService;
}

sockaddr_in ipv4(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, text, &address.sin_addr);
    return address;
}

template <typename Address>
addrinfo element(Address& address, int family, addrinfo* next) {
    addrinfo made{};
    made.ai_family = family;
    made.ai_addr = reinterpret_cast<sockaddr*>(&address);
    made.ai_addrlen = sizeof(address);
    made.ai_next = next;
    return made;
}

std::string addrinfoMessage(const std::string& attributes) {
    return R"(<addrinfo timestamp_I8="T" ticket_I4="1")" + attributes + "/>";
}

class LookUpHook : public HookTest {
protected:
    LookUpHook() { leftCode = 5; }

    // Makes the call and checks that the error code is handed in and out.
    template <typename Call>
    auto called(Call&& call) {
        errno = codeBefore;
        const auto result = call();
        EXPECT_EQ(errno, leftCode);
        EXPECT_EQ(codeSeen, codeBefore);
        return result;
    }

    int lookUp(const char* node, const char* service) {
        addrinfo* result = nullptr;
        const int code = called([&] { return Mygetaddrinfo(node, service, nullptr, &result); });
        EXPECT_EQ(result, foundAddresses);
        EXPECT_EQ(code, answer);
        return code;
    }

    // Expects one message for each, and the trace of a look-up that found something.
    void expectElements(const std::string& shown, const Lines& attributes) {
        Lines messages;
        Lines trace = {"[CALL ][1]getaddrinfo ", "[RET  ][1]getaddrinfo (OK) " + shown};
        for (const std::string& one : attributes) {
            messages.push_back(addrinfoMessage(one));
            trace.push_back(dataTrace(1, messages.back()));
        }
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(takeMessages(), messages);
    }

    ReplacedCall<getaddrinfo_function> getaddrinfo_{getaddrinfo_ptr, &scriptedGetaddrinfo};
    ReplacedCall<gethostbyname_function> gethostbyname_{gethostbyname_ptr, &scriptedGethostbyname};
    ReplacedCall<gethostname_function> gethostname_{gethostname_ptr, &scriptedGethostname};
    ReplacedCall<getservbyname_function> getservbyname_{getservbyname_ptr, &scriptedGetservbyname};
    ReplacedCall<getservbyport_function> getservbyport_{getservbyport_ptr, &scriptedGetservbyport};
};

// --- getaddrinfo

using GetAddrInfo = LookUpHook;

TEST_F(GetAddrInfo, RecordsTheFirstAddressForEveryIpv4Element) {
    sockaddr_in first = ipv4("192.0.2.1");
    sockaddr_in second = ipv4("198.51.100.2");
    addrinfo last = element(second, AF_INET, nullptr);
    addrinfo list = element(first, AF_INET, &last);
    foundAddresses = &list;
    lookUp("a.example", "http");
    const std::string attributes = R"( family_AS="AF_INET" name_AS="a.example" ip_AS="192.0.2.1")";
    expectElements("nodename : a.example\t servname http", {attributes, attributes});
}

TEST_F(GetAddrInfo, RecordsIpv6ElementsWithoutAnAddress) {
    sockaddr_in6 address{};
    addrinfo last = element(address, AF_INET6, nullptr);
    addrinfo list = element(address, AF_INET6, &last);
    foundAddresses = &list;
    lookUp("six.example", nullptr);
    const std::string attributes = R"( family_AS="AF_CCITT" name_AS="six.example")";
    expectElements("nodename : six.example\t servname (null)", {attributes, attributes});
}

TEST_F(GetAddrInfo, ReadsTheFirstElementAsIpv4WhateverItIs) {
    sockaddr_in6 first{};
    first.sin6_family = AF_INET6;
    inet_pton(AF_INET, "1.2.3.4", &first.sin6_flowinfo);
    sockaddr_in second = ipv4("198.51.100.2");
    addrinfo last = element(second, AF_INET, nullptr);
    addrinfo list = element(first, AF_INET6, &last);
    foundAddresses = &list;
    lookUp("both.example", "80");
    expectElements("nodename : both.example\t servname 80",
                   {R"( family_AS="AF_CCITT" name_AS="both.example")",
                    R"( family_AS="AF_INET" name_AS="both.example" ip_AS="1.2.3.4")"});
}

TEST_F(GetAddrInfo, WithoutANodeRecordsTheService) {
    sockaddr_in address = ipv4("0.0.0.0");
    addrinfo list = element(address, AF_INET, nullptr);
    foundAddresses = &list;
    lookUp(nullptr, "8080");
    expectElements("nodename : (null)\t servname 8080",
                   {R"( family_AS="AF_INET" name_AS="8080" ip_AS="0.0.0.0")"});
}

TEST_F(GetAddrInfo, WithoutNodeAndServiceRecordsNoName) {
    sockaddr_in address = ipv4("10.0.0.2");
    addrinfo list = element(address, AF_INET, nullptr);
    foundAddresses = &list;
    lookUp(nullptr, nullptr);
    expectElements("nodename : (null)\t servname (null)",
                   {R"( family_AS="AF_INET" ip_AS="10.0.0.2")"});
}

TEST_F(GetAddrInfo, KnowsFamiliesWithoutAName) {
    sockaddr_in address = ipv4("10.0.0.2");
    addrinfo last = element(address, 37, nullptr);
    addrinfo list = element(address, 26, &last);
    foundAddresses = &list;
    lookUp("odd", nullptr);
    expectElements("nodename : odd\t servname (null)",
                   {R"( name_AS="odd")", R"( family_AS="" name_AS="odd")"});
}

TEST_F(GetAddrInfo, ThatFindsAnEmptyListRecordsNothing) {
    lookUp("a.example", "http");
    expectElements("nodename : a.example\t servname http", {});
}

TEST_F(GetAddrInfo, ThatFailsRecordsNothing) {
    answer = EAI_SYSTEM;
    leftCode = ECONNREFUSED;
    lookUp("a.example", nullptr);
    EXPECT_EQ(takeTrace(), (Lines{"[CALL ][1]getaddrinfo ",
                                  "[WARNI][1]getaddrinfo (ERROR : -11 WSAECONNREFUSED : Connection "
                                  "refused) nodename : a.example\t servname (null)"}));
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_F(GetAddrInfo, ThatFailsIsTracedWithTheErrorCodeAndNotWithItsResult) {
    answer = EAI_NONAME;
    leftCode = 0;
    lookUp(nullptr, "smtp");
    EXPECT_EQ(takeTrace(), (Lines{"[CALL ][1]getaddrinfo ",
                                  "[WARNI][1]getaddrinfo (ERROR : -2 ????? : unknown code) "
                                  "nodename : (null)\t servname smtp"}));
}

// The real call looks at its flags before it looks at the texts.
TEST_F(GetAddrInfo, ThatFailsShowsOfItsTextsWhatCanBeRead) {
    const HalfReadable memory;
    char* const cut = static_cast<char*>(std::memcpy(memory.last(3), "abc", 3));
    answer = EAI_BADFLAGS;
    lookUp(cut, memory.unreadable());
    lookUp(memory.unreadable(), nullptr);
    lookUp(nullptr, cut);
    const std::string failure = "]getaddrinfo (ERROR : -1 ????? : unknown code) ";
    EXPECT_EQ(
        takeTrace(),
        (Lines{"[CALL ][1]getaddrinfo ", "[WARNI][1" + failure + "nodename : abc\t servname ",
               "[CALL ][2]getaddrinfo ", "[WARNI][2" + failure + "nodename : \t servname (null)",
               "[CALL ][3]getaddrinfo ",
               "[WARNI][3" + failure + "nodename : (null)\t servname abc"}));
    EXPECT_EQ(takeMessages(), Lines{});
}

TEST_F(GetAddrInfo, GivesAllItsMessagesTheStampOfItsBeginning) {
    getCurrentTimePtr = [] {
        static long long now = 0x1000;
        return now++;
    };
    sockaddr_in address = ipv4("10.0.0.2");
    addrinfo last = element(address, AF_INET, nullptr);
    addrinfo list = element(address, AF_INET, &last);
    foundAddresses = &list;
    lookUp("a", nullptr);
    const std::string message =
        R"(<addrinfo timestamp_ns_I8="1000" timestamp_I8="T" ticket_I4="1" family_AS="AF_INET" name_AS="a" ip_AS="10.0.0.2"/>)";
    EXPECT_EQ(takeMessages(), (Lines{message, message}));
}

TEST_F(GetAddrInfo, RunsStartUpFirst) {
    socketInitialized = 0;
    agentInterface = nullptr;
    addrinfo* result = nullptr;
    EXPECT_EQ(Mygetaddrinfo("127.0.0.1", nullptr, nullptr, &result), 0);
    freeaddrinfo(result);
    EXPECT_EQ(socketInitialized, 1);
    EXPECT_NE(getAgentInterface(), nullptr);
}

// --- gethostbyname

class GetHostByName : public LookUpHook {
protected:
    void find(const char* name) {
        EXPECT_EQ(called([=] { return Mygethostbyname(name); }), foundHost);
    }

    void expectFound(const std::string& shown, const Lines& attributes) {
        char address[20];
        std::snprintf(address, sizeof(address), "0x%lX",
                      reinterpret_cast<unsigned long>(foundHost));
        Lines messages;
        Lines trace = {"[CALL ][1]gethostbyname ",
                       "[RET  ][1]gethostbyname (OK) (\"asked\") returns " + std::string(address) +
                           ", ret->h_name=" + shown};
        for (const std::string& one : attributes) {
            messages.push_back(addrinfoMessage(one));
            trace.push_back(dataTrace(1, messages.back()));
        }
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(takeMessages(), messages);
    }
};

char officialName[] = "official";

TEST_F(GetHostByName, RecordsEveryAddressInOrder) {
    char first[] = {10, 1, 2, 3};
    char second[] = {127, 0, 0, 1};
    char* list[] = {first, second, nullptr};
    hostent host{officialName, nullptr, AF_INET, 4, list};
    foundHost = &host;
    find("asked");
    expectFound("official", {R"( family_AS="AF_INET" name_AS="asked" ip_AS="10.1.2.3")",
                             R"( family_AS="AF_INET" name_AS="asked" ip_AS="127.0.0.1")"});
}

TEST_F(GetHostByName, ThatFindsNoAddressRecordsNothing) {
    char* list[] = {nullptr};
    hostent host{officialName, nullptr, AF_INET, 4, list};
    foundHost = &host;
    find("asked");
    expectFound("official", {});
}

TEST_F(GetHostByName, ThatFindsNoListRecordsNothing) {
    hostent host{officialName, nullptr, AF_INET, 4, nullptr};
    foundHost = &host;
    find("asked");
    expectFound("official", {});
}

TEST_F(GetHostByName, RecordsAnotherFamilyOnceWithoutAnAddress) {
    char address[16] = {};
    char* list[] = {address, address, nullptr};
    hostent host{nullptr, nullptr, AF_INET6, 16, list};
    foundHost = &host;
    find("asked");
    expectFound("<null>", {R"( family_AS="AF_INET6" name_AS="asked")"});
}

TEST_F(GetHostByName, RecordsAFamilyWithoutAName) {
    hostent host{officialName, nullptr, 40, 16, nullptr};
    foundHost = &host;
    find("asked");
    expectFound("official", {R"( family_AS="&#x3c;unknown>" name_AS="asked")"});
}

// "error" is written only behind a "return" of -1.
TEST_F(GetHostByName, ThatFailsRecordsTheName) {
    leftCode = ETIMEDOUT;
    find("nowhere.example");
    const std::string message = addrinfoMessage(R"( name_AS="nowhere.example")");
    EXPECT_EQ(takeTrace(),
              (Lines{"[CALL ][1]gethostbyname ",
                     "[WARNI][1]gethostbyname (0 return value : 110 WSAETIMEDOUT : Connection "
                     "timed out) (\"nowhere.example\") returns 0x0, ret->h_name=<null>",
                     dataTrace(1, message)}));
    EXPECT_EQ(takeMessages(), Lines{message});
}

TEST_F(GetHostByName, ThatFailsShowsAndRecordsOfTheNameWhatCanBeRead) {
    const HalfReadable memory;
    find(static_cast<char*>(std::memcpy(memory.last(3), "abc", 3)));
    find(memory.unreadable());
    find(nullptr);
    find("");
    const auto message = [](const char* ticket, const char* name) {
        return R"(<addrinfo timestamp_I8="T" ticket_I4=")" + std::string(ticket) + "\"" + name +
               "/>";
    };
    const Lines messages = {message("1", R"( name_AS="abc")"), message("2", ""), message("3", ""),
                            message("4", R"( name_AS="")")};
    const auto failure = [](const char* number, const char* name) {
        return "[WARNI][" + std::string(number) +
               "]gethostbyname (0 return value : 5 ????? : unknown code) (\"" + name +
               "\") returns 0x0, ret->h_name=<null>";
    };
    EXPECT_EQ(takeTrace(),
              (Lines{"[CALL ][1]gethostbyname ", failure("1", "abc"), dataTrace(1, messages[0]),
                     "[CALL ][2]gethostbyname ", failure("2", ""), dataTrace(2, messages[1]),
                     "[CALL ][3]gethostbyname ", failure("3", "(null)"), dataTrace(3, messages[2]),
                     "[CALL ][4]gethostbyname ", failure("4", ""), dataTrace(4, messages[3])}));
    EXPECT_EQ(takeMessages(), messages);
}

TEST_F(GetHostByName, BeginsItsMessagesWithTheClockOfTheRecorderCore) {
    getCurrentTimePtr = [] { return 0x1092LL; };
    find("n");
    EXPECT_EQ(
        takeMessages(),
        Lines{R"(<addrinfo timestamp_ns_I8="1092" timestamp_I8="T" ticket_I4="1" name_AS="n"/>)"});
}

TEST_F(GetHostByName, RunsStartUpFirst) {
    socketInitialized = 0;
    agentInterface = nullptr;
    EXPECT_NE(Mygethostbyname("127.0.0.1"), nullptr);
    EXPECT_EQ(socketInitialized, 1);
    EXPECT_NE(getAgentInterface(), nullptr);
}

// --- What is announced only

class AnnouncedLookUp : public LookUpHook {
protected:
    void expectAnnounced(const std::string& name, const std::string& result) {
        const std::string message = notRecordedMessage("2", name);
        EXPECT_EQ(takeTrace(),
                  (Lines{"[CALL ][1]" + name + " ", "[INFO ]<NOT_RECORDED_HOOK> " + name,
                         "[RET  ][1]" + name + result, dataTrace(2, message)}));
        EXPECT_EQ(takeMessages(), Lines{message});
    }

    char name_[20] = {};
};

TEST_F(AnnouncedLookUp, HostNameIsTraced) {
    EXPECT_EQ(called([&] { return Mygethostname(name_, sizeof(name_)); }), 0);
    EXPECT_STREQ(name_, "the-host");
    expectAnnounced("gethostname", " (OK): \"the-host\"");
}

// A name that just fits has no zero byte behind it.
TEST_F(AnnouncedLookUp, HostNameEndsWithItsBuffer) {
    const ReplacedCall<gethostname_function> unterminated(gethostname_ptr,
                                                          [](char* name, size_t length) -> int {
                                                              codeSeen = errno;
                                                              std::memset(name, 'x', length);
                                                              errno = leftCode;
                                                              return 0;
                                                          });
    name_[3] = '!';
    EXPECT_EQ(called([&] { return Mygethostname(name_, 3); }), 0);
    expectAnnounced("gethostname", " (OK): \"xxx\"");
}

TEST_F(AnnouncedLookUp, HostNameThatFailsIsTracedAsResult) {
    answer = -1;
    leftCode = ENAMETOOLONG;
    EXPECT_EQ(called([&] { return Mygethostname(name_, sizeof(name_)); }), -1);
    expectAnnounced("gethostname", " (SOCKET ERROR : 36 WSAENAMETOOLONG : Name too long):");
}

TEST_F(AnnouncedLookUp, ServiceByNameIsPassedThrough) {
    servent service{};
    foundService = &service;
    EXPECT_EQ(called([] { return Mygetservbyname("http", "tcp"); }), &service);
    expectAnnounced("getservbyname", " (OK):");
}

TEST_F(AnnouncedLookUp, ServiceByNameThatFailsIsOkAllTheSame) {
    EXPECT_EQ(called([] { return Mygetservbyname("no-such", nullptr); }), nullptr);
    expectAnnounced("getservbyname", " (OK):");
}

TEST_F(AnnouncedLookUp, ServiceByPortIsPassedThrough) {
    servent service{};
    foundService = &service;
    EXPECT_EQ(called([] { return Mygetservbyport(80, "tcp"); }), &service);
    expectAnnounced("getservbyport", " (OK):");
}

TEST_F(AnnouncedLookUp, ServiceByPortThatFailsIsOkAllTheSame) {
    EXPECT_EQ(called([] { return Mygetservbyport(1, nullptr); }), nullptr);
    expectAnnounced("getservbyport", " (OK):");
}

TEST_F(AnnouncedLookUp, DoesNotRunStartUp) {
    socketInitialized = 0;
    Mygethostname(name_, sizeof(name_));
    Mygetservbyname("http", "tcp");
    Mygetservbyport(80, "tcp");
    EXPECT_EQ(socketInitialized, 0);
}

// The one that its announcement needs, since the call's own is not used.
TEST_F(AnnouncedLookUp, ReadsTheClockOnce) {
    static int reads;
    reads = 0;
    getCurrentTimePtr = [] { return static_cast<long long>(++reads); };
    Mygetservbyport(80, "tcp");
    EXPECT_EQ(reads, 1);
}

}  // namespace
