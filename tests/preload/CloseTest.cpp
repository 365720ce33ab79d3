#include <gtest/gtest.h>

#include "ExpectedText.h"

namespace veltra::testing {

namespace {

TEST(Close, OfAnUnusedSocketIsTracedOnlyAndOfAnUnknownOneNotEvenThat) {
    const ProbeOutcome outcome = runScenario("lifecycle", "close-unused");
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(traceAfterStartUp(outcome),
              joined({socketTrace(),
                      {"[CALL ][2]closesocket \tsocket : 3",
                       "[RET  ][2]closesocket (OK):\tsocket : 3", portListBegin, portListEnd,
                       "[INFO ][2]closesocket on 3 not logged (no connect or accept)",
                       "[CALL ][6]socket ",
                       "[RET  ][6]socket (OK):\tsocket : 0\t af = (2)AF_INET,\t type = "
                       "(1)SOCK_STREAM,\t protocol = (0)IPPROTO_TCP"}}));
}

TEST(Close, ThatFailsKeepsTheSocketKnownButForgetsItsPort) {
    const ProbeOutcome outcome = runScenario("lifecycle", "close-fails");
    const std::string announced = notRecordedMessage("8", "listen");
    EXPECT_EQ(messagesAfterListen(outcome), Lines{announced});
    EXPECT_EQ(traceAfterListen(outcome),
              (Lines{"[CALL ][6]closesocket \tsocket : 3",
                     "[WARNI][6]closesocket (SOCKET ERROR : 5 ????? : unknown code):\tsocket : 3",
                     portListBegin, portListEnd,
                     "[INFO ][6]closesocket on 3 not logged (no connect or accept)",
                     "[CALL ][7]listen 3", "[INFO ]<NOT_RECORDED_HOOK> listen",
                     "[RET  ][7]listen (OK):", dataTrace(8, announced),
                     "[CALL ][9]closesocket \tsocket : 3",
                     "[RET  ][9]closesocket (OK):\tsocket : 3", portListBegin, portListEnd,
                     "[INFO ][9]closesocket on 3 not logged (no connect or accept)"}));
}

}  // namespace

}  // namespace veltra::testing
