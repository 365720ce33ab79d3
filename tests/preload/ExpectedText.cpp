#include "ExpectedText.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace veltra::testing {

Lines rest(const Lines& lines, const Lines& beginning) {
    const std::size_t length = std::min(lines.size(), beginning.size());
    const auto middle = lines.begin() + static_cast<std::ptrdiff_t>(length);
    EXPECT_EQ(Lines(lines.begin(), middle), beginning);
    return Lines(middle, lines.end());
}

Lines joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

ProbeSettings probe(const std::string& name, const std::string& scenario) {
    ProbeSettings settings;
    settings.program = VELTRA_PROBE_DIRECTORY "/veltra_probe_" + name;
    settings.arguments = {scenario};
    settings.nextLibrary = VELTRA_NEXT_LIBRARY;
    return settings;
}

ProbeSettings quietProbe(const std::string& name, const std::string& scenario) {
    ProbeSettings settings = probe(name, scenario);
    settings.traceLevel = 0;
    return settings;
}

ProbeOutcome runScenario(const std::string& name, const std::string& scenario) {
    return runProbe(probe(name, scenario));
}

const std::string processMessage =
    R"(<process timestamp_I4="0" ticket_I4="1" workingdir_AS="FOLDER" pid_I4="PID" archi_AS="LINUX"/>)";

Lines startUpTrace() {
    return {
        "[INFO ]debug level : 1023\t debug dir : FOLDER/trace/\t debug file : "
        "FOLDER/trace/sock_TIME_PID.txt\t pid : PID",
        "[INFO ]**************************",
        "[INFO ]** SocksMode not active **",
        "[INFO ]**************************",
        "[INFO ]===> WSAStartup : starting to resolve local addresses",
        "[ERROR]Bad host lookup",
        "[INFO ]===> WSAStartup : local addresses solved",
    };
}

std::string dataTrace(int callNumber, const std::string& message) {
    return "[DATA ][" + std::to_string(callNumber) + "]" + message;
}

std::string processTrace() {
    return dataTrace(0, processMessage);
}

Lines socketTrace() {
    return {
        "[CALL ][1]socket ",
        "[RET  ][1]socket (OK):\tsocket : 3\t af = (2)AF_INET,\t type = (1)SOCK_STREAM,\t protocol "
        "= (0)IPPROTO_TCP",
    };
}

const std::string connectMessage =
    R"(<connect localport_I4="LOCAL" pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="3" duration_I4="D" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)";

Lines connectedTrace() {
    return joined(
        {startUpTrace(),
         socketTrace(),
         {
             "[CALL ][2]connect \tsocket : 3",
             "[WARNI][2]SocksConnect (SOCKS:  :socksStatus 0 socksError 0 toReconnect 1 loopback 0 "
             "ret 0",
             "[INFO ]local port : LOCAL",
             "[RET  ][2]connect (OK):\tsocket : 3\t name = 0xDESTINATION,\t namelen = 16",
             processTrace(),
             dataTrace(2, connectMessage),
         }});
}

std::string notRecordedMessage(const std::string& ticket, const std::string& name) {
    return R"(<notrecorded timestamp_I8="T" ticket_I4=")" + ticket + R"(" name_AS=")" + name +
           R"("/>)";
}

const std::string portListBegin = "[INFO ]*********** memo list ************";
const std::string portListEnd = "[INFO ]**********************************";

Lines serverMessages() {
    return {processMessage, notRecordedMessage("3", "bind"), notRecordedMessage("5", "listen")};
}

Lines serverTrace() {
    return joined({startUpTrace(),
                   socketTrace(),
                   {"[CALL ][2]bind 3", "[INFO ]<NOT_RECORDED_HOOK> bind",
                    "[RET  ][2]bind (OK):", "[INFO ]local port : SERVER",
                    "[INFO ][2] familly AF_INET \tip 127.0.0.1\t port SERVER", portListBegin,
                    "[INFO ]socket 3\t port SERVER", portListEnd, processTrace(),
                    dataTrace(3, notRecordedMessage("3", "bind")), "[CALL ][4]listen 3",
                    "[INFO ]<NOT_RECORDED_HOOK> listen",
                    "[RET  ][4]listen (OK):", dataTrace(5, notRecordedMessage("5", "listen"))}});
}

Lines messagesAfterListen(const ProbeOutcome& outcome) {
    return rest(outcome.messages, serverMessages());
}

Lines traceAfterListen(const ProbeOutcome& outcome) {
    return rest(outcome.trace, serverTrace());
}

Lines messagesAfterConnect(const ProbeOutcome& outcome) {
    return rest(outcome.messages, {processMessage, connectMessage});
}

Lines traceAfterConnect(const ProbeOutcome& outcome) {
    return rest(outcome.trace, connectedTrace());
}

Lines traceAfterStartUp(const ProbeOutcome& outcome) {
    return rest(outcome.trace, startUpTrace());
}

void expectRecorded(const ProbeOutcome& outcome, const std::string& message, const Lines& trace) {
    EXPECT_EQ(messagesAfterConnect(outcome), Lines{message});
    EXPECT_EQ(traceAfterConnect(outcome), joined({trace, {dataTrace(3, message)}}));
}

const Lines interposedNames = {
    "socket",      "bind",   "listen",  "accept",     "close",      "connect",     "read",
    "write",       "send",   "recv",    "sendmsg",    "recvmsg",    "sendto",      "recvfrom",
    "getaddrinfo", "select", "pselect", "setsockopt", "getsockopt", "getsockname", "getpeername"};

}  // namespace veltra::testing
