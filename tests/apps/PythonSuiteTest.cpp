#include <gtest/gtest.h>

#include <ostream>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// Tests of the Python interpreter's own, and one of them: how many there are depends on the
// patches.
struct Suite {
    const char* title;
    const char* tests;
    const char* oneOfThem;
};

std::ostream& operator<<(std::ostream& stream, const Suite& suite) {
    return stream << suite.tests;
}

class PythonSuite : public ::testing::TestWithParam<Suite> {};

TEST_P(PythonSuite, PassesAsWithoutTheAgent) {
    const AppRun run = runBothWays(
        "$AGENT /usr/bin/python3.11 -W ignore " VELTRA_PROGRAMS "/pythonTests.py outcomes " +
        std::string(GetParam().tests) + " >/dev/null 2>&1\ncat outcomes\n");
    const std::string& outcomes = run.recorded.output;
    EXPECT_EQ(outcomes.find(" failed\n"), std::string::npos) << outcomes;
    EXPECT_NE(outcomes.find(GetParam().oneOfThem + std::string(" ok\n")), std::string::npos)
        << outcomes;
    ASSERT_FALSE(run.recording.empty());
    EXPECT_EQ(run.recording.front().kind, "process");
}

INSTANTIATE_TEST_SUITE_P(
    Quick, PythonSuite,
    ::testing::Values(
        Suite{"select", "test.test_select", "test.test_select.SelectTestCase.test_select"},
        Suite{"epoll", "test.test_epoll", "test.test_epoll.TestEPoll.test_control_and_wait"},
        Suite{"stream_sockets",
              "test.test_socket.BasicTCPTest test.test_socket.NonBlockingTCPTests "
              "test.test_socket.FileObjectClassTestCase test.test_socket.NetworkConnectionNoServer "
              "test.test_socket.BufferIOTest test.test_socket.SendmsgTCPTest "
              "test.test_socket.RecvmsgTCPTest test.test_socket.NetworkConnectionAttributesTest",
              "test.test_socket.RecvmsgTCPTest.testRecvmsg"},
        Suite{"datagram_sockets",
              "test.test_socket.BasicUDPTest test.test_socket.UDPTimeoutTest "
              "test.test_socket.SendmsgUDPTest test.test_socket.RecvmsgUDPTest",
              "test.test_socket.BasicUDPTest.testSendtoAndRecv"},
        Suite{"asyncio_streams", "test.test_asyncio.test_streams",
              "test.test_asyncio.test_streams.StreamTests.test_open_connection"},
        Suite{"asyncio_sockets", "test.test_asyncio.test_sock_lowlevel",
              "test.test_asyncio.test_sock_lowlevel.EPollEventLoopTests.test_sock_client_ops"},
        Suite{"http_servers", "test.test_httpservers",
              "test.test_httpservers.SimpleHTTPServerTestCase.test_get"},
        Suite{"socket_servers", "test.test_socketserver",
              "test.test_socketserver.SocketServerTest.test_ForkingTCPServer"},
        Suite{"urllib", "test.test_urllib2_localnet",
              "test.test_urllib2_localnet.TestUrlopen.test_basic"}),
    [](const ::testing::TestParamInfo<Suite>& suite) { return std::string(suite.param.title); });

}  // namespace

}  // namespace veltra::testing
