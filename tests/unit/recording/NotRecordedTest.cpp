#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "ScriptedSockets.h"
#include "base/Counter.h"
#include "base/utils.h"
#include "recording/AgentInterface.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::TraceLog;

constexpr const char* stampName = "timestamp_I8=\"";

// The hexadecimal number as the message shows its time stamp.
std::string stampIn(const std::string& text) {
    const std::size_t begin = text.find(stampName) + std::string(stampName).size();
    return text.substr(begin, text.find('"', begin) - begin);
}

std::string hexadecimal(long long value) {
    char text[20];
    std::snprintf(text, sizeof(text), "%llx", static_cast<unsigned long long>(value));
    return text;
}

long long fixedClock() {
    return 1700000000123456789LL;
}

long long ticketOfClock = 0;

long long clockThatTakesATicket() {
    ticketOfClock = getTicket();
    return 5;
}

class NotRecorded : public testing::Test {
protected:
    NotRecorded() { agentInterface.store(&recorder); }
    ~NotRecorded() override {
        agentInterface.store(nullptr);
        getCurrentTimePtr.store(nullptr);
    }
    // Sends by `send` and expects the text, in which "T" is the time stamp and "N" the ticket.
    template <typename Send>
    void expectText(Send&& send, const std::string& before, const std::string& after) {
        (void)sockets.takeTexts();
        const long long ticket = getTicket() + 1;
        const int call = getGlobalCpt() + 1;
        const long long earliest = getTimeStamp();
        send();
        const long long latest = getTimeStamp();
        const auto texts = sockets.takeTexts();
        ASSERT_EQ(texts.size(), 1U);
        const std::string stamp = stampIn(texts[0]);
        EXPECT_GE(std::stoll(stamp, nullptr, 16), earliest);
        EXPECT_LE(std::stoll(stamp, nullptr, 16), latest);
        const std::string expected = "<notrecorded " + before + stampName + stamp +
                                     "\" ticket_I4=\"" + hexadecimal(ticket) + "\" " + after + "/>";
        EXPECT_EQ(texts[0], expected + "\n");
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("[DATA ][" + std::to_string(call) + "]" + expected));
        EXPECT_EQ(getTicket(), ticket + 1);
        EXPECT_EQ(getGlobalCpt(), call + 1);
    }

    ScriptedSockets sockets;
    TraceLog log;
    AgentInterface recorder{nullptr, nullptr, nullptr};
};

TEST_F(NotRecorded, NamesTheFunction) {
    for (const char* name :
         {"getservbyport", "getservbyname", "gethostname", "listen", "bind", "pselect", "select"}) {
        expectText([&] { sendNotHookedInfo(name); }, "", std::string("name_AS=\"") + name + "\"");
    }
}

TEST_F(NotRecorded, BadArchitectureIsInfo) {
    char text[] = "a \"32-bit\" program";
    expectText([&] { sendNotHookedBadArchi(text); }, "",
               "info_AS=\"a &#x22;32-bit&#x22; program\"");
}

TEST_F(NotRecorded, NullTextIsThreeQuestionMarks) {
    expectText([] { sendNotHookedInfo(nullptr); }, "", "name_AS=\"???\"");
    expectText([] { sendNotHookedBadArchi(nullptr); }, "", "info_AS=\"???\"");
}

TEST_F(NotRecorded, EmptyTextStaysEmpty) {
    char empty[] = "";
    expectText([] { sendNotHookedInfo(""); }, "", "name_AS=\"\"");
    expectText([&] { sendNotHookedBadArchi(empty); }, "", "info_AS=\"\"");
}

TEST_F(NotRecorded, ClockOfTheRecorderCoreComesFirst) {
    getCurrentTimePtr.store(&fixedClock);
    expectText([] { sendNotHookedInfo("listen"); }, "timestamp_ns_I8=\"17979cfe3d85cd15\" ",
               "name_AS=\"listen\"");
    char text[] = "x";
    expectText([&] { sendNotHookedBadArchi(text); }, "timestamp_ns_I8=\"17979cfe3d85cd15\" ",
               "info_AS=\"x\"");
}

TEST_F(NotRecorded, ClockWithoutATimeIsLeftOut) {
    getCurrentTimePtr.store([] { return -1LL; });
    expectText([] { sendNotHookedInfo("listen"); }, "", "name_AS=\"listen\"");
}

TEST_F(NotRecorded, ClockIsReadBeforeTheTicketIsTaken) {
    getCurrentTimePtr.store(&clockThatTakesATicket);
    sendNotHookedInfo("bind");
    const auto texts = sockets.takeTexts();
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0], "<notrecorded timestamp_ns_I8=\"5\" timestamp_I8=\"" + stampIn(texts[0]) +
                            "\" ticket_I4=\"" + hexadecimal(ticketOfClock + 1) +
                            "\" name_AS=\"bind\"/>\n");
}

TEST_F(NotRecorded, GoesThroughTheProcessWideInterface) {
    EXPECT_EQ(getAgentInterface(), &recorder);
    sendNotHookedInfo("select");
    const auto calls = sockets.takeCalls();
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(calls[1], "connect(40, 2, 127.0.0.1:1092, 16)");
}

TEST_F(NotRecorded, NothingIsSentBeforeStartUp) {
    agentInterface.store(nullptr);
    EXPECT_EQ(getAgentInterface(), nullptr);
    char text[] = "x";
    sendNotHookedInfo("select");
    sendNotHookedBadArchi(text);
    RecorderMessage message(RecorderMessageKind::exit, 0);
    sendToRecorder(message);
    EXPECT_THAT(sockets.takeCalls(), IsEmpty());
}

}  // namespace
