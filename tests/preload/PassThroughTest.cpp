#include <gtest/gtest.h>
#include <unistd.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

std::string announcement(const std::string& name) {
    return "[INFO ]<NOT_RECORDED_HOOK> " + name;
}

// What the third call of a connected client leaves.
void expectAnnounced(const ProbeOutcome& outcome, const std::string& name,
                     const std::string& arguments) {
    const std::string message = notRecordedMessage("4", name);
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{message});
    EXPECT_EQ(traceAfterConnect(outcome),
              (Lines{"[CALL ][3]" + name + arguments, announcement(name),
                     "[RET  ][3]" + name + " (SOCKET ERROR : 77 ????? : unknown code):",
                     dataTrace(4, message)}));
}

TEST(Select, IsTracedAsAnErrorWhenDescriptorsAreReady) {
    const ProbeOutcome outcome = runScenario("passThrough", "waits");
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "connect: 0 errno 77",
                                     "select: 2 errno 77", "ready: 1 1"}));
    expectAnnounced(outcome, "select",
                    "(nfds=>4,readfds=>0xREADABLE,writefds=>0xWRITABLE,exceptfds=>(nil),timeout=>"
                    "0xTIMEOUT)");
}

TEST(Pselect, IsTracedAsAnErrorWhenDescriptorsAreReady) {
    const ProbeOutcome outcome = runScenario("passThrough", "exact-waits");
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "connect: 0 errno 77",
                                     "pselect: 1 errno 77", "ready: 1"}));
    expectAnnounced(outcome, "pselect",
                    "(nfds=>4,readfds=>0xREADABLE,writefds=>(nil),exceptfds=>(nil),timeout=>"
                    "0xEXACT,sigmask=>0xMASK)");
}

TEST(Select, IsAnnouncedAlsoWhereNothingIsReady) {
    const ProbeOutcome outcome = runScenario("passThrough", "waits-in-vain");
    const Lines messages = {notRecordedMessage("3", "select"), notRecordedMessage("5", "select"),
                            notRecordedMessage("7", "pselect"), notRecordedMessage("9", "pselect")};
    EXPECT_EQ(outcome.messages, joined({{processMessage}, messages}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{
            "[CALL ][1]select(nfds=>0,readfds=>(nil),writefds=>(nil),exceptfds=>(nil),timeout"
            "=>0xTIMEOUT)",
            announcement("select"), "[RET  ][1]select (OK): 0", processTrace(),
            dataTrace(2, messages[0]),
            "[CALL ][3]select(nfds=>-1,readfds=>(nil),writefds=>(nil),exceptfds=>(nil),"
            "timeout=>(nil))",
            announcement("select"),
            "[RET  ][3]select (SOCKET ERROR : 22 ????? : unknown code):", dataTrace(4, messages[1]),
            "[CALL ][5]pselect(nfds=>0,readfds=>(nil),writefds=>(nil),exceptfds=>(nil),"
            "timeout=>0xEXACT,sigmask=>(nil))",
            announcement("pselect"), "[RET  ][5]pselect (OK): 0", dataTrace(6, messages[2]),
            "[CALL ][7]pselect(nfds=>-1,readfds=>(nil),writefds=>(nil),exceptfds=>(nil),"
            "timeout=>(nil),sigmask=>(nil))",
            announcement("pselect"), "[RET  ][7]pselect (SOCKET ERROR : 22 ????? : unknown code):",
            dataTrace(8, messages[3])}));
}

TEST(Options, AreTracedAndSendNothing) {
    const ProbeOutcome outcome = runScenario("passThrough", "options");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        joined({socketTrace(),
                {"[CALL ][2]setsockopt(__fd=>3 ,__level=>1 ,__optname=>2 ,__optval=>0x0xOPTION ,"
                 "__optlen=>4)",
                 announcement("setsockopt"), "[RET  ][2]setsockopt (OK): 0",
                 "[CALL ][3]setsockopt(__fd=>3 ,__level=>1 ,__optname=>9999 ,__optval=>0x0xOPTION "
                 ",__optlen=>4)",
                 announcement("setsockopt"),
                 "[RET  ][3]setsockopt (SOCKET ERROR : 92 WSAENOPROTOOPT : Bad protocol option):",
                 "[CALL ][4]setsockopt(__fd=>ffffffff ,__level=>6 ,__optname=>1 ,__optval=>0x(nil) "
                 ",__optlen=>0)",
                 announcement("setsockopt"),
                 "[RET  ][4]setsockopt (SOCKET ERROR : 9 ????? : unknown code):",
                 "[CALL ]getsockopt socket : 3", "[RET  ]getsockopt OK ",
                 "[CALL ]getsockopt socket : 3", "[ERROR]getsockopt ERROR "}}));
}

TEST(Names, AreTracedAndSendNothing) {
    const ProbeOutcome outcome = runScenario("passThrough", "names");
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "connect: 0 errno 77",
                     "getsockname: 0 errno 77", "family 2 length 16", "getpeername: 0 errno 77",
                     "127.0.0.1 length 16", "getpeername: 0 errno 77", "length 16"}));
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{});
    EXPECT_EQ(traceAfterConnect(outcome),
              (Lines{"[CALL ]getsockname socket : 3", "[RET  ]getsockname OK ",
                     "[CALL ]getpeername socket : 3", "[RET  ]getpeername",
                     "[CALL ]getpeername socket : 3", "[RET  ]getpeername"}));
}

TEST(Names, ThatCannotBeToldGiveTheRealAnswer) {
    const ProbeOutcome outcome = runScenario("passThrough", "bad-names");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ]getpeername socket : 3", "[RET  ]getpeername",
                       "[CALL ]getpeername socket : 3", "[RET  ]getpeername",
                       "[CALL ]getpeername socket : 3", "[RET  ]getpeername",
                       "[CALL ]getsockname socket : 3", "[ERROR]getsockname ERROR "}}));
}

TEST(Names, OfOtherSocketsLeaveNothing) {
    const ProbeOutcome outcome = runScenario("passThrough", "silent");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}));
}

// With the C library's own look-up.
ProbeOutcome runLookUp(const std::string& scenario) {
    ProbeSettings settings = probe("passThrough", scenario);
    settings.nextLibrary = "";
    return runProbe(settings);
}

std::string found(const std::string& ticket, const std::string& attributes) {
    return R"(<addrinfo timestamp_I8="T" ticket_I4=")" + ticket + "\" " + attributes + "/>";
}

TEST(LookUpOfHosts, RecordsEveryElement) {
    const ProbeOutcome outcome = runLookUp("look-up-address");
    const std::string message =
        found("2", R"(family_AS="AF_INET" name_AS="127.0.0.1" ip_AS="127.0.0.1")");
    EXPECT_EQ(outcome.output,
              (Lines{"getaddrinfo: 0 errno 77", "found: 2 1", "found: 2 2", "found: 2 3"}));
    EXPECT_EQ(outcome.messages, (Lines{processMessage, message, message, message}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{"[CALL ][1]getaddrinfo ",
               "[RET  ][1]getaddrinfo (OK) nodename : 127.0.0.1\t servname 80", processTrace(),
               dataTrace(1, message), dataTrace(1, message), dataTrace(1, message)}));
}

TEST(LookUpOfHosts, RecordsIpv6AndServicesButNoFailure) {
    const ProbeOutcome outcome = runLookUp("look-up-stream");
    const std::string ipv6 = found("2", R"(family_AS="AF_CCITT" name_AS="::1")");
    const std::string service = found("3", R"(family_AS="AF_INET" name_AS="8080" ip_AS="0.0.0.0")");
    EXPECT_EQ(outcome.messages, (Lines{processMessage, ipv6, service}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]getaddrinfo ",
                     "[RET  ][1]getaddrinfo (OK) nodename : ::1\t servname (null)", processTrace(),
                     dataTrace(1, ipv6), "[CALL ][2]getaddrinfo ",
                     "[RET  ][2]getaddrinfo (OK) nodename : (null)\t servname 8080",
                     dataTrace(2, service), "[CALL ][3]getaddrinfo ",
                     "[WARNI][3]getaddrinfo (ERROR : -2 ????? : unknown code) nodename : not an "
                     "address\t servname (null)"}));
}

TEST(ExportedLookUps, AreRecordedAndAnnouncedForWhoeverCallsThem) {
    ProbeSettings settings = probe("passThrough", "exported-look-ups");
    settings.nextLibrary = "";
    const ProbeOutcome outcome = runWithAgent(settings);
    char ownName[300] = "";
    ASSERT_EQ(gethostname(ownName, sizeof(ownName)), 0);
    ASSERT_EQ(outcome.output.size(), 8U);
    // Where the C library keeps the entry.
    const std::string entry = outcome.output[2];
    EXPECT_EQ(outcome.output,
              (Lines{"host: 1 errno 77", "10.1.2.3 2", entry, "own name: 0 errno 77", ownName,
                     outcome.output[5], outcome.output[6], "addresses: 0 errno 77"}));

    // The look-up that starts the agent has its ticket already.
    std::string process = processMessage;
    process.replace(process.find("ticket_I4=\"1"), 12, "ticket_I4=\"2");
    const std::string host =
        found("1", R"(family_AS="AF_INET" name_AS="10.1.2.3" ip_AS="10.1.2.3")");
    const Lines announced = {notRecordedMessage("4", "gethostname"),
                             notRecordedMessage("6", "getservbyname"),
                             notRecordedMessage("8", "getservbyport")};
    const std::string address =
        found("9", R"(family_AS="AF_INET" name_AS="10.4.5.6" ip_AS="10.4.5.6")");
    EXPECT_EQ(outcome.messages, joined({{process, host}, announced, {address}}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        (Lines{
            "[CALL ][1]gethostbyname ",
            "[RET  ][1]gethostbyname (OK) (\"10.1.2.3\") returns " + entry +
                ", ret->h_name=10.1.2.3",
            dataTrace(0, process), dataTrace(1, host), "[CALL ][2]gethostname ",
            announcement("gethostname"),
            "[RET  ][2]gethostname (OK): \"" + std::string(ownName) + "\"",
            dataTrace(3, announced[0]), "[CALL ][4]getservbyname ", announcement("getservbyname"),
            "[RET  ][4]getservbyname (OK):", dataTrace(5, announced[1]), "[CALL ][6]getservbyport ",
            announcement("getservbyport"),
            "[RET  ][6]getservbyport (OK):", dataTrace(7, announced[2]), "[CALL ][8]getaddrinfo ",
            "[RET  ][8]getaddrinfo (OK) nodename : 10.4.5.6\t servname 80",
            dataTrace(8, address)}));
}

}  // namespace

}  // namespace veltra::testing
