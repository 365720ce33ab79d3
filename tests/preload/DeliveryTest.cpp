#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "ExpectedText.h"
#include "recorder/FileDescriptor.h"
#include "recorder/SystemCall.h"

namespace veltra::testing {

namespace {

const std::string listenTrace = "listen (SOCKET ERROR : 9 ????? : unknown code):";

// A port that nobody else can have while the object lives, and that refuses connections.
class RefusingPort {
public:
    RefusingPort() {
        socklen_t length = sizeof(address_);
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const address = reinterpret_cast<sockaddr*>(&address_);
        checked(::bind(socket_.number(), address, length), "bind");
        checked(::getsockname(socket_.number(), address, &length), "getsockname");
    }

    std::uint16_t number() const { return ntohs(address_.sin_port); }

private:
    const FileDescriptor socket_{checked(::socket(AF_INET, SOCK_STREAM, 0), "socket")};
    sockaddr_in address_{};
};

TEST(Delivery, ToAnAbsentRecorderChangesNothingForTheApplication) {
    const RefusingPort port;
    ProbeSettings settings = probe("connect", "connect");
    settings.recorderPort = port.number();
    const ProbeOutcome outcome = runProbe(settings);
    EXPECT_EQ(outcome.messages, Lines{});
    const std::string refused =
        "[ERROR]connect() returned SOCKET_ERROR, WSAGetLastError=111 WSAECONNREFUSED : Connection "
        "refused";
    Lines expected;
    for (const std::string& line : connectedTrace()) {
        expected.push_back(line);
        if (line.rfind("[DATA ]", 0) == 0) expected.push_back(refused);
    }
    expected = joined(
        {expected,
         {"[CALL ][3]closesocket \tsocket : 3", "[RET  ][3]closesocket (OK):\tsocket : 3",
          portListBegin, portListEnd,
          dataTrace(3, R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3"/>)"),
          refused, "[INFO ][3]closesocket on 3 (connect)"}});
    EXPECT_EQ(outcome.trace, expected);
}

TEST(Delivery, ThatFailsLosesItsMessageOnly) {
    const ProbeOutcome outcome = runScenario("startUp", "lost-messages");
    const Lines announced = {notRecordedMessage("3", "listen"), notRecordedMessage("5", "listen"),
                             notRecordedMessage("7", "listen"), notRecordedMessage("9", "listen")};
    EXPECT_EQ(outcome.messages, (Lines{announced[0], announced[3]}));
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        joined({socketTrace(),
                {"[RET  ][2]" + listenTrace, processTrace(),
                 "[ERROR]socket() returned INVALID_SOCKET, WSAGetLastError=24 ????? : unknown code",
                 dataTrace(3, announced[0]), "[RET  ][4]" + listenTrace, dataTrace(5, announced[1]),
                 "[ERROR]connect() returned SOCKET_ERROR, WSAGetLastError=110 WSAETIMEDOUT : "
                 "Connection timed out",
                 "[RET  ][6]" + listenTrace, dataTrace(7, announced[2]),
                 "[ERROR]send() returned SOCKET_ERROR, WSAGetLastError=104 WSAECONNRESET : "
                 "Connection reset by peer",
                 "[RET  ][8]" + listenTrace, dataTrace(9, announced[3])}}));
}

TEST(Delivery, RaisesNoSignalInTheApplication) {
    const ProbeOutcome outcome = runScenario("startUp", "broken-pipe");
    EXPECT_EQ(outcome.output,
              (Lines{"socket: descriptor errno 77", "listen: -1 errno 9", "pending: 0"}));
    const std::string announced = notRecordedMessage("3", "listen");
    EXPECT_EQ(outcome.messages, Lines{announced});
    EXPECT_EQ(
        traceAfterStartUp(outcome),
        joined({socketTrace(),
                {"[RET  ][2]" + listenTrace, processTrace(),
                 "[ERROR]send() returned SOCKET_ERROR, WSAGetLastError=32 ????? : unknown code",
                 dataTrace(3, announced)}}));
}

}  // namespace

}  // namespace veltra::testing
