#include "SocksText.h"

#include <gtest/gtest.h>

namespace veltra::testing {

ProbeSettings throughServer(std::uint16_t port, const std::string& name,
                            const std::string& scenario) {
    ProbeSettings settings = probe(name, scenario);
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_IPV4_ADDRESS"] = "127.0.0.1";
    settings.environment["VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_IPV4"] = std::to_string(port);
    return settings;
}

// A rerouted connect has no counterpart without the agent.
ProbeOutcome runThrough(const ProbeSettings& settings) {
    ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.errors, "");
    return outcome;
}

Lines socksStartUpTrace(std::uint16_t port) {
    const std::string number = std::to_string(port);
    return {startUpTrace().front(),
            "[INFO ]**********************",
            "[INFO ]** SocksMode active **",
            "[INFO ]**********************",
            "[INFO ]Socks server IPV4 IP : 127.0.0.1",
            "[INFO ]Socks server IPV6 IP : (null)",
            "[INFO ]Socks server IPV4 Port : " + number,
            "[INFO ]Socks server IPV6 Port : 0",
            "[INFO ]===> WSAStartup : starting to resolve local addresses",
            "[ERROR]Bad host lookup",
            "[INFO ]===> retrieving socks server info",
            "[INFO ]===> IPV4 socks : 127.0.0.1(" + number + ")",
            "[INFO ]===> IPV6 val is NULL...",
            "[INFO ]===> WSAStartup : local addresses solved"};
}

// From the program's start to the attempt to connect to the server.
Lines beginTrace(std::uint16_t port) {
    return joined({socksStartUpTrace(port),
                   socketTrace(),
                   {"[CALL ][2]connect \tsocket : 3", lockTrace,
                    "[INFO ]**************** starting socks connection ******************",
                    "[INFO ]* socks server : 127.0.0.1 (" + std::to_string(port) + ")",
                    "[INFO ]* socks server : (null) (0)", "[INFO ]************************",
                    "[INFO ]** starting handshake **", "[INFO ]************************",
                    "[INFO ]==> Connecting socket IPV4"}});
}

Lines greetingTrace() {
    return {"[INFO ]connect() done on SOCKS server",
            "[INFO ]==> Sending supported authentification methods",
            "[INFO ]send client greeting OK", "[INFO ]==> Waiting selected method"};
}

Lines requestTrace() {
    return {"[INFO ]recv selected method OK : 05 00 ",
            "[INFO ]***************************",
            "[INFO ]** handshake successfull **",
            "[INFO ]***************************",
            "[INFO ]****************************",
            "[INFO ]** starting socks request **",
            "[INFO ]****************************",
            "[INFO ]* socks server request IPV4 10.1.2.3(80)",
            "[INFO ]Client request : [0x05,0x01,0x00,0x01,0x0A,0x01,0x02,0x03,0x00,0x50]",
            "[INFO ]send client request OK",
            "[INFO ]==> Waiting server reply",
            "[INFO ]recv protocol version OK : 05 "};
}

std::string connectMessageWith(const std::string& before, const std::string& after) {
    return "<connect " + before +
           R"(pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="3" duration_I4="D" )" + after +
           "/>";
}

std::string closeMessage(const std::string& ticket) {
    return R"(<close pid_I4="PID" timestamp_I8="T" ticket_I4=")" + ticket + R"(" socket_I8="3"/>)";
}

Lines closeTrace(int callNumber, const std::string& ticket) {
    const std::string number = std::to_string(callNumber);
    return {"[CALL ][" + number + "]closesocket \tsocket : 3",
            "[RET  ][" + number + "]closesocket (OK):\tsocket : 3",
            portListBegin,
            portListEnd,
            dataTrace(callNumber, closeMessage(ticket)),
            "[INFO ][" + number + "]closesocket on 3 (connect)"};
}

// What a connect leaves that failed and whose socket the agent has closed.
Lines failedOutput(int error) {
    return {"socket: descriptor errno 77", "connect: -1 errno " + std::to_string(error),
            "close: -1 errno 9"};
}

Lines failedClose() {
    return {"[CALL ][3]closesocket \tsocket : 3",
            "[WARNI][3]closesocket (SOCKET ERROR : 9 ????? : unknown code):\tsocket : 3",
            portListBegin, portListEnd,
            "[INFO ][3]closesocket on 3 not logged (no connect or accept)"};
}

}  // namespace veltra::testing
