#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "socks/Socks.h"
#include "support/ListeningServer.h"
#include "support/RealCalls.h"
#include "support/TraceLog.h"
#include "tools/TemporaryFolder.h"

namespace {

using Lines = std::vector<std::string>;
using veltra::testing::ListeningServer;
using veltra::testing::ReplacedCall;
using veltra::testing::TraceLog;

const char* const addressVariable = "VELTRA_SOCKET_AGENT_DEBUG_IP";
const char* const portVariable = "VELTRA_SOCKET_AGENT_DEBUG_PORT";

constexpr int codeBefore = 77;

int calls = 0;
std::string destination;
int connectError = 0;
int waitResult = 0;
timeval waited;
bool waitedForBoth = false;

int countedSocket(int, int, int) {
    ++calls;
    return -1;
}

int scriptedConnect(int, const sockaddr* address, socklen_t length) {
    EXPECT_EQ(length, 16U);
    const auto& ipv4 = *reinterpret_cast<const sockaddr_in*>(address);
    EXPECT_EQ(ipv4.sin_family, AF_INET);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof(text));
    destination = std::string(text) + ":" + std::to_string(ntohs(ipv4.sin_port));
    if (connectError == 0) return 0;
    errno = connectError;
    return -1;
}

int scriptedSelect(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                   timeval* timeout) {
    ++calls;
    EXPECT_EQ(count, 0);
    EXPECT_EQ(exceptional, nullptr);
    waitedForBoth = FD_ISSET(debugSocket, readable) && FD_ISSET(debugSocket, writable);
    waited = *timeout;
    return waitResult;
}

ssize_t unexpectedSend(int, const void*, size_t, int) {
    ADD_FAILURE() << "nothing is to be sent";
    return -1;
}

class DebugServer : public testing::Test {
protected:
    DebugServer() {
        veltra::testing::useRealCalls();
        unsetenv(addressVariable);
        unsetenv(portVariable);
    }
    ~DebugServer() override {
        if (debugSocket != -1) close(debugSocket);
        debugSocket = -1;
    }

    static void switchOn(const char* address, const std::string& port) {
        initializationDone = 0;
        setenv(addressVariable, address, 1);
        if (!port.empty()) setenv(portVariable, port.c_str(), 1);
    }

    // Starts with a server that listens.
    void connectTo(ListeningServer& server) {
        switchOn("127.0.0.1", std::to_string(server.port()));
        initializeDebugServer();
        server.accept();
    }

    static Lines banner(const std::string& address, const std::string& port) {
        return {"[INFO ]************************", "[INFO ]** DebugServer active **",
                "[INFO ]************************", "[INFO ]Debug server IP : " + address,
                "[INFO ]Debug server Port : " + port};
    }

    static Lines bannerAnd(const std::string& address, const std::string& port,
                           const Lines& others) {
        Lines lines = banner(address, port);
        lines.insert(lines.end(), others.begin(), others.end());
        return lines;
    }

    TraceLog log;
};

TEST_F(DebugServer, IsSwitchedOffFromTheBeginning) {
    EXPECT_EQ(initializationDone, 1);
    EXPECT_EQ(debugSocket, -1);
    EXPECT_EQ(debugIpVal, nullptr);
    EXPECT_EQ(debugPortVal, 5150);
    EXPECT_EQ(debugServerActive, 0);
    EXPECT_EQ(connectMaxTimeout, 10);
}

TEST_F(DebugServer, ThatIsSwitchedOffDoesNothingAtAll) {
    const ReplacedCall<socket_function> noSocket(socket_ptr, &countedSocket);
    calls = 0;
    setenv(addressVariable, "127.0.0.1", 1);
    setenv(portVariable, "4711", 1);
    errno = codeBefore;
    initializeDebugServer();
    sendDebugMessage("a line\n");
    EXPECT_EQ(errno, codeBefore);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(initializationDone, 1);
    EXPECT_EQ(debugSocket, -1);
    EXPECT_EQ(debugIpVal, nullptr);
    EXPECT_EQ(debugPortVal, 5150);
    EXPECT_EQ(debugServerActive, 0);
    EXPECT_EQ(log.takeLines(), Lines{});
}

TEST_F(DebugServer, WithoutAnAddressIsNotActive) {
    const ReplacedCall<socket_function> noSocket(socket_ptr, &countedSocket);
    calls = 0;
    initializationDone = 0;
    debugServerActive = 1;
    initializeDebugServer();
    EXPECT_EQ(log.takeLines(),
              (Lines{"[INFO ]****************************", "[INFO ]** DebugServer not active **",
                     "[INFO ]****************************"}));
    EXPECT_EQ(initializationDone, 1);
    EXPECT_EQ(debugServerActive, 0);
    EXPECT_EQ(calls, 0);
    initializeDebugServer();
    EXPECT_EQ(log.takeLines(), Lines{});
}

TEST_F(DebugServer, ThatIsConnectedAlreadyIsLeftAlone) {
    debugSocket = dup(STDERR_FILENO);
    const int before = debugSocket;
    close(before);
    switchOn("127.0.0.1", "4711");
    initializeDebugServer();
    EXPECT_EQ(initializationDone, 1);
    EXPECT_EQ(debugSocket, before);
    EXPECT_EQ(debugIpVal, nullptr);
    EXPECT_EQ(log.takeLines(), Lines{});
    debugSocket = -1;
}

struct Port {
    const char* name;
    const char* text;
    const char* used;
};

class DebugServerPort : public DebugServer, public testing::WithParamInterface<Port> {};

TEST_P(DebugServerPort, IsTakenFromTheEnvironment) {
    const ReplacedCall<connect_function> connect(connect_ptr, &scriptedConnect);
    const ReplacedCall<send_function> send(
        send_ptr, [](int, const void*, size_t, int) -> ssize_t { return 0; });
    connectError = 0;
    switchOn("192.0.2.9", GetParam().text);
    initializeDebugServer();
    EXPECT_EQ(destination, "192.0.2.9:" + std::string(GetParam().used));
    EXPECT_EQ(std::to_string(debugPortVal), GetParam().used);
    EXPECT_EQ(debugServerActive, 1);
    // Not copied.
    EXPECT_EQ(debugIpVal, getenv(addressVariable));
    EXPECT_EQ(log.takeLines(),
              bannerAnd("192.0.2.9", GetParam().used, {"[INFO ]connect() done on debug server"}));
}

INSTANTIATE_TEST_SUITE_P(Texts, DebugServerPort,
                         testing::Values(Port{"Number", "4711", "4711"}, Port{"Absent", "", "5150"},
                                         Port{"Zero", "0", "5150"}, Port{"Word", "port", "5150"},
                                         Port{"Hexadecimal", "0x50", "5150"},
                                         Port{"Trailing", "80x", "80"}),
                         [](const auto& given) { return given.param.name; });

TEST_F(DebugServer, TakesAnAddressThatIsNoneForAllOnes) {
    const ReplacedCall<connect_function> connect(connect_ptr, &scriptedConnect);
    connectError = ENETUNREACH;
    switchOn("nowhere", "");
    initializeDebugServer();
    EXPECT_EQ(destination, "255.255.255.255:5150");
}

TEST_F(DebugServer, ReceivesEveryLineByteForByte) {
    ListeningServer server;
    connectTo(server);
    const std::string port = std::to_string(server.port());
    EXPECT_EQ(log.takeLines(),
              bannerAnd("127.0.0.1", port, {"[INFO ]connect() done on debug server"}));
    EXPECT_EQ(server.take(), "[INFO ]connect() done on debug server\n");
    EXPECT_EQ(fcntl(debugSocket, F_GETFL) & O_NONBLOCK, 0);

    x_disp(TRACE_CALL, "[%d]socket ", 12);
    x_disp(TRACE_GENER, "two\nlines \x80 and %s", "more");
    x_disp(TRACE_DATA, "%s", std::string(9000, 'x').c_str());
    const std::string text = log.takeText();
    EXPECT_EQ(text, "[CALL ][12]socket \ntwo\nlines \x80 and more\n[DATA ]" +
                        std::string(9000, 'x') + "\n[INFO ]buffer resized to : 12288\n");
    EXPECT_EQ(server.take(), text);
}

TEST_F(DebugServer, ReceivesLinesThatTheLogFileDoesNot) {
    ListeningServer server;
    connectTo(server);
    (void)server.take();
    (void)log.takeText();
    x_disp(TRACE_LOW, "for the server %d", 1);
    EXPECT_EQ(log.takeLines(), Lines{});
    EXPECT_EQ(server.take(), "[LOW  ]for the server 1\n");
    set_file_display(nullptr, nullptr);
    x_disp(TRACE_INFO, "for nobody");
    x_disp(TRACE_LOW, "for the server %d", 2);
    EXPECT_EQ(server.take(), "[LOW  ]for the server 2\n");
}

TEST_F(DebugServer, ReceivesLinesWhoseLogFileCannotBeOpened) {
    ListeningServer server;
    connectTo(server);
    (void)server.take();
    set_file_display("/nowhere/at/all.txt", "/nowhere/at/");
    x_disp(TRACE_INFO, "for the server");
    EXPECT_EQ(server.take(), "[INFO ]for the server\n");
}

TEST_F(DebugServer, ThatCannotBeReachedIsTracedOnce) {
    std::string port;
    {
        const ListeningServer gone;
        port = std::to_string(gone.port());
    }
    signal(SIGPIPE, SIG_DFL);
    switchOn("127.0.0.1", port);
    errno = codeBefore;
    initializeDebugServer();
    EXPECT_EQ(errno, codeBefore);
    EXPECT_EQ(log.takeLines(),
              bannerAnd("127.0.0.1", port,
                        {"[ERROR]connect() failed with error code (SOCKET ERROR : 111 "
                         "WSAECONNREFUSED : Connection refused):"}));
    EXPECT_NE(debugSocket, -1);
    EXPECT_EQ(debugServerActive, 1);
    errno = codeBefore;
    sendDebugMessage("lost\n");
    EXPECT_EQ(errno, codeBefore);
    x_disp(TRACE_INFO, "only here");
    EXPECT_EQ(log.takeLines(), Lines{"[INFO ]only here"});
}

TEST_F(DebugServer, ThatIsStillConnectingIsWaitedForInVain) {
    const ReplacedCall<connect_function> connect(connect_ptr, &scriptedConnect);
    const ReplacedCall<select_function> select(select_ptr, &scriptedSelect);
    calls = 0;
    connectError = EAGAIN;
    for (const int result : {0, -1, 2}) {
        if (debugSocket != -1) close(debugSocket);
        debugSocket = -1;
        waitResult = result;
        connectMaxTimeout = 7;
        switchOn("127.0.0.1", "4711");
        errno = codeBefore;
        initializeDebugServer();
        EXPECT_EQ(errno, ECONNREFUSED);
        EXPECT_EQ(waited.tv_sec, 7);
        EXPECT_EQ(waited.tv_usec, 0);
        EXPECT_TRUE(waitedForBoth);
        EXPECT_NE(debugSocket, -1);
        EXPECT_EQ(log.takeLines(),
                  bannerAnd("127.0.0.1", "4711", {"[ERROR]connect() timeout expired"}));
    }
    EXPECT_EQ(calls, 3);
}

TEST_F(DebugServer, ThatIsStillConnectingCanStillBeConnected) {
    const ReplacedCall<connect_function> connect(connect_ptr, &scriptedConnect);
    const ReplacedCall<select_function> select(select_ptr, &scriptedSelect);
    connectError = EAGAIN;
    waitResult = 1;
    switchOn("127.0.0.1", "4711");
    initializeDebugServer();
    EXPECT_EQ(log.takeLines(), bannerAnd("127.0.0.1", "4711",
                                         {"[INFO ]connect() ok after some time....",
                                          "[INFO ]connect() done on debug server"}));
}

TEST_F(DebugServer, WaitsTheWholeTimeOut) {
    const ReplacedCall<connect_function> connect(connect_ptr, &scriptedConnect);
    connectError = EAGAIN;
    connectMaxTimeout = 1;
    switchOn("127.0.0.1", "4711");
    timespec before{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    initializeDebugServer();
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE((after.tv_sec - before.tv_sec) * 1000000000L + after.tv_nsec - before.tv_nsec,
              1000000000L);
    EXPECT_EQ(log.takeLines(),
              bannerAnd("127.0.0.1", "4711", {"[ERROR]connect() timeout expired"}));
}

TEST_F(DebugServer, ThatGoesAwayDisturbsNobody) {
    signal(SIGPIPE, SIG_DFL);
    ListeningServer server;
    connectTo(server);
    (void)log.takeText();
    server.goAway();
    for (int i = 0; i < 3; ++i) {
        errno = codeBefore;
        sendDebugMessage("lost\n");
        EXPECT_EQ(errno, codeBefore);
    }
    x_disp(TRACE_INFO, "only here");
    EXPECT_EQ(log.takeLines(), Lines{"[INFO ]only here"});
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(DebugServer, GetsEachLineInOneSendAndNoMoreBehindOneThatWasCut) {
    static int sends;
    static std::string sent;
    static ssize_t taken;
    ListeningServer server;
    connectTo(server);
    const ReplacedCall<send_function> send(
        send_ptr, [](int socket, const void* line, size_t length, int flags) -> ssize_t {
            ++sends;
            EXPECT_EQ(socket, debugSocket);
            EXPECT_EQ(flags, 0);
            sent.assign(static_cast<const char*>(line), length);
            errno = 5;
            return taken;
        });
    sends = 0;
    errno = codeBefore;
    for (const ssize_t result : {6, 7, 5}) {
        taken = result;
        sendDebugMessage(result == 6 ? "a line" : "a line\n");
    }
    EXPECT_EQ(sends, 3);
    EXPECT_EQ(sent, "a line\n");
    taken = 7;
    sendDebugMessage("behind\n");
    EXPECT_EQ(sends, 3);
    EXPECT_EQ(errno, codeBefore);
}

TEST_F(DebugServer, ThatDoesNotAcceptIsGivenUpInTheEnd) {
    const ListeningServer server(0);
    const sockaddr_in address = ListeningServer::loopback(server.port());
    // The queue has room for one connection.
    const int waiting = socket(AF_INET, SOCK_STREAM, 0);
    connect(waiting, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    connectMaxTimeout = 1;
    switchOn("127.0.0.1", std::to_string(server.port()));
    errno = codeBefore;
    initializeDebugServer();
    EXPECT_EQ(errno, codeBefore);
    EXPECT_EQ(log.takeLines(),
              bannerAnd("127.0.0.1", std::to_string(server.port()),
                        {"[ERROR]connect() failed with error code (SOCKET ERROR : 115 "
                         "WSAEINPROGRESS : Operation already in progress):"}));

    // Nobody waits again for the connection that may still come about.
    const ReplacedCall<send_function> noSend(send_ptr, &unexpectedSend);
    x_disp(TRACE_INFO, "only here");
    EXPECT_EQ(log.takeLines(), Lines{"[INFO ]only here"});
    EXPECT_EQ(errno, codeBefore);
    close(waiting);
}

TEST_F(DebugServer, IsNotWaitedForWhileItsConnectionIsBeingMade) {
    const ReplacedCall<connect_function> connect(
        connect_ptr, [](int, const sockaddr*, socklen_t) -> int {
            const ReplacedCall<send_function> noSend(send_ptr, &unexpectedSend);
            EXPECT_NE(debugSocket, -1);
            x_disp(TRACE_INFO, "by another thread");
            errno = ECONNREFUSED;
            return -1;
        });
    switchOn("127.0.0.1", "4711");
    initializeDebugServer();
    const Lines lines = log.takeLines();
    ASSERT_EQ(lines.size(), 7U);
    EXPECT_EQ(lines[5], "[INFO ]by another thread");
}

TEST_F(DebugServer, ThatDoesNotReadHoldsTheApplicationOnlyOnce) {
    ListeningServer server;
    connectTo(server);
    std::string expected = "[INFO ]connect() done on debug server\n";
    (void)log.takeText();
    const std::string text(7000, 'x');
    for (int i = 0; i < 2000; ++i)
        x_disp(TRACE_DATA, "%d %s", i, text.c_str());
    expected += log.takeText();
    EXPECT_EQ(std::count(expected.begin(), expected.end(), '\n'), 2001);

    // It gets no line behind the first that is missing or cut, even if it reads in the end.
    const ReplacedCall<send_function> noSend(send_ptr, &unexpectedSend);
    std::string received;
    for (std::string part = server.take(); !part.empty(); part = server.take())
        received += part;
    sendDebugMessage("behind\n");
    EXPECT_EQ(server.take(), "");
    EXPECT_LT(received.size(), expected.size());
    EXPECT_GT(received.size(), 38U);
    EXPECT_EQ(received, expected.substr(0, received.size()));
}

TEST_F(DebugServer, ThatReadsLateIsWaitedFor) {
    ListeningServer server;
    connectTo(server);
    (void)log.takeText();
    std::string received;
    pollfd connection = {debugSocket, POLLOUT, 0};
    std::thread reader([&] {
        while (poll(&connection, 1, 0) == 1)
            std::this_thread::yield();
        received = server.takeToEnd();
    });
    const std::string text(7000, 'x');
    for (int i = 0; i < 2000; ++i)
        x_disp(TRACE_DATA, "%d %s", i, text.c_str());
    close(debugSocket);
    debugSocket = -1;
    reader.join();
    const std::string expected = "[INFO ]connect() done on debug server\n" + log.takeText();
    EXPECT_EQ(received.size(), expected.size());
    EXPECT_TRUE(received == expected);
}

}  // namespace
