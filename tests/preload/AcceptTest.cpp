#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

// The message of an accept on the descriptor 4.
std::string acceptMessage(const std::string& ticket, const std::string& address) {
    return R"(<accept pid_I4="PID" timestamp_I8="T" ticket_I4=")" + ticket +
           R"(" from_I8="3" socket_I8="4" )" + address + "/>";
}

const std::string ipv4Client = R"(family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="CLIENT")";

// The sixth call of a server, an accept that traces these arguments.
void expectFirstAccept(const ProbeOutcome& outcome, const std::string& arguments) {
    const std::string message = acceptMessage("6", ipv4Client);
    EXPECT_EQ(messagesAfterListen(outcome), Lines{message});
    EXPECT_EQ(traceAfterListen(outcome),
              (Lines{"[CALL ][6]accept \tsocket : 3",
                     "[RET  ][6]accept (OK):\tsocket : 3\t " + arguments, dataTrace(6, message)}));
}

TEST(Accept, RecordsThePeerAndMakesTheCloseOfTheListenerRecorded) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept");
    const std::string accept = acceptMessage("6", ipv4Client);
    const std::string close =
        R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="8" socket_I8="3"/>)";
    EXPECT_EQ(messagesAfterListen(outcome), (Lines{accept, close}));
    EXPECT_EQ(traceAfterListen(outcome),
              (Lines{"[CALL ][6]accept \tsocket : 3",
                     "[RET  ][6]accept (OK):\tsocket : 3\t addrlen LENGTH, addr = (0xADDRESS)",
                     dataTrace(6, accept), "[CALL ][8]closesocket \tsocket : 3",
                     "[RET  ][8]closesocket (OK):\tsocket : 3", portListBegin, portListEnd,
                     dataTrace(8, close), "[INFO ][8]closesocket on 3 (accept)"}));
}

TEST(Accept, RecordsOnlyTheFirstOfAListener) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept-two");
    const std::string message = acceptMessage("6", ipv4Client);
    EXPECT_EQ(messagesAfterListen(outcome), Lines{message});
    EXPECT_EQ(traceAfterListen(outcome),
              (Lines{"[CALL ][6]accept \tsocket : 3",
                     "[RET  ][6]accept (OK):\tsocket : 3\t addrlen LENGTH, addr = (0xADDRESS)",
                     dataTrace(6, message), "[CALL ][7]accept \tsocket : 3",
                     "[RET  ][7]accept (OK):\tsocket : 3\t addrlen LENGTH, addr = (0xADDRESS)"}));
}

TEST(Accept, WithoutArgumentsKnowsThePeer) {
    expectFirstAccept(runScenario("lifecycle", "accept-without-arguments"),
                      "addrlen OWN, addr = (0xOWN)");
}

TEST(Accept, WithoutAnAddressUsesTheCallersLength) {
    expectFirstAccept(runScenario("lifecycle", "accept-without-address"),
                      "addrlen LENGTH, addr = (0xOWN)");
}

TEST(Accept, WithoutALengthFillsTheCallersAddress) {
    const ProbeOutcome outcome = runWithAgent(probe("lifecycle", "accept-without-length"));
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "bind: 0 errno 77", "listen: 0 errno 77",
                     "accept: descriptor errno 77 family 2"}));
    expectFirstAccept(outcome, "addrlen OWN, addr = (0xADDRESS)");
}

TEST(Accept, WithAShortLengthFillsTheCallersAddressAndLength) {
    for (const char* scenario : {"accept-short-0", "accept-short-15"}) {
        SCOPED_TRACE(scenario);
        const ProbeOutcome outcome = runScenario("lifecycle", scenario);
        ASSERT_FALSE(outcome.output.empty());
        EXPECT_EQ(outcome.output.back(), "accept: descriptor errno 77 length 16");
        expectFirstAccept(outcome, "addrlen OWN, addr = (0xADDRESS)");
    }
}

// The sixth call of an IPv6 server.
Lines ipv6AcceptMessages(const std::string& ip) {
    return {acceptMessage("6", R"(family_AS="AF_CCITT" ip_AS=")" + ip + R"(" port_I4="CLIENT")")};
}

TEST(Accept, OfAnIpv6PeerRecordsItsAddressInEightGroups) {
    const ProbeOutcome outcome = runProbe(quietProbe("lifecycle", "accept-ipv6"));
    ASSERT_EQ(outcome.messages.size(), 4u);
    EXPECT_EQ(
        outcome.messages[3],
        R"(<accept pid_I4="PID" timestamp_I8="T" ticket_I4="6" from_I8="3" socket_I8="4" family_AS="AF_CCITT" ip_AS="0:0:0:0:0:0:0:1" port_I4="CLIENT"/>)");
}

TEST(Accept, OfAnIpv6PeerWithoutArgumentsKnowsItsFirstSixteenBytes) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept-ipv6-without-arguments");
    ASSERT_EQ(outcome.messages.size(), 4u);
    EXPECT_EQ(Lines{outcome.messages[3]}, ipv6AcceptMessages("0:0:0:0:0:0:0:0"));
}

TEST(Accept, OfALocalPeerRecordsTheFamilyOnly) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept-local");
    const std::string accept = acceptMessage("6", R"(family_AS="AF_UNIX")");
    const std::string close =
        R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="7" socket_I8="3"/>)";
    EXPECT_EQ(outcome.messages, joined({serverMessages(), {accept, close}}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[CALL ][1]socket ",
                     "[RET  ][1]socket (OK):\tsocket : 3\t af = (1)AF_UNIX,\t type = "
                     "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP",
                     "[RET  ][2]bind (OK):", processTrace(),
                     dataTrace(3, notRecordedMessage("3", "bind")),
                     "[RET  ][4]listen (OK):", dataTrace(5, notRecordedMessage("5", "listen")),
                     "[RET  ][6]accept (OK):\tsocket : 3\t addrlen LENGTH, addr = (0xADDRESS)",
                     dataTrace(6, accept), "[RET  ][7]closesocket (OK):\tsocket : 3", portListBegin,
                     portListEnd, dataTrace(7, close)}));
}

TEST(Accept, OnAnUnknownListenerIsRecordedEachTime) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept-unknown");
    const std::string first =
        R"(<accept pid_I4="PID" timestamp_I8="T" ticket_I4="2" from_I8="64" socket_I8="3" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="CLIENT"/>)";
    const std::string second =
        R"(<accept pid_I4="PID" timestamp_I8="T" ticket_I4="3" from_I8="64" socket_I8="4" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="CLIENT2"/>)";
    EXPECT_EQ(outcome.messages, (Lines{processMessage, first, second}));
    EXPECT_EQ(traceAfterStartUp(outcome),
              (Lines{"[RET  ][1]accept (OK):\tsocket : 64\t addrlen LENGTH, addr = (0xADDRESS)",
                     processTrace(), dataTrace(1, first),
                     "[RET  ][2]accept (OK):\tsocket : 64\t addrlen LENGTH, addr = (0xADDRESS)",
                     dataTrace(2, second)}));
}

TEST(Accept, ThatFailsIsTracedOnly) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept-fails");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]accept \tsocket : 3",
                       "[WARNI][2]accept (INVALID_SOCKET : 22 ????? : unknown code):\tsocket : 3\t "
                       "addrlen LENGTH, addr = (0xADDRESS)",
                       "[WARNI][3]accept (INVALID_SOCKET : 9 ????? : unknown code):\tsocket : "
                       "ffffffffffffffff\t addrlen LENGTH, addr = (0xADDRESS)"}}));
}

TEST(Accept, IntoMemoryThatCannotBeWrittenGivesTheBareAnswer) {
    const ProbeOutcome outcome = runScenario("lifecycle", "accept-unwritable");
    EXPECT_EQ(messagesAfterListen(outcome), Lines{});
    EXPECT_EQ(traceAfterListen(outcome),
              (Lines{"[CALL ][6]accept \tsocket : 3",
                     "[WARNI][6]accept (INVALID_SOCKET : 14 ????? : unknown code):\tsocket : 3\t "
                     "addrlen LENGTH, addr = (0xADDRESS)"}));
}

}  // namespace

}  // namespace veltra::testing
