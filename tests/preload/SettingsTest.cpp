#include <gtest/gtest.h>

#include <filesystem>

#include "ExpectedText.h"
#include "recorder/Recorder.h"
#include "tools/TemporaryFolder.h"

namespace veltra::testing {

namespace {

namespace fs = std::filesystem;

// The time of the recorder core's clock that stands still.
constexpr const char* coreTime = "17979cfe3d85cd15";

// The trace of a second run of start-up's second stage, which is the first that a trace file shows:
// `clock` is how the recorder core was looked for, `rest` what follows.
Lines secondStageTrace(const Lines& clock, const Lines& rest) {
    return joined({startUpTrace(),
                   socketTrace(),
                   {"[INFO ]initialize library 64",
                    "[INFO ]try to load AGENT/../../../../veltra.recorder.core/Libraries/"
                    "libRecorderCore64.so library function currentTime"},
                   clock,
                   rest});
}

const std::string notBesideAgent =
    "[INFO ]../../../../veltra.recorder.core/Libraries/libRecorderCore64.so does not exists, "
    "trying with the one defined in environment variable";
const std::string noVariable =
    "[INFO ]env variable VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH is not defined => abort loading "
    "lib";

const Lines inactiveSocks = {"[INFO ]**************************",
                             "[INFO ]** SocksMode not active **",
                             "[INFO ]**************************"};

const std::string recorderLine = "[INFO ]@@@@ ip : 127.0.0.1\t @@@@ port : RECORDER";

// Each run of the second stage makes a new "process" message, which takes a ticket.
std::string secondProcessMessage(const std::string& timeStamp) {
    return "<process " + timeStamp +
           R"(timestamp_I4="0" ticket_I4="3" workingdir_AS="FOLDER" pid_I4="PID" archi_AS="LINUX"/>)";
}

std::string bindMessage(const std::string& timeStamp) {
    return "<notrecorded " + timeStamp + R"(timestamp_I8="T" ticket_I4="4" name_AS="bind"/>)";
}

// The rest of the trace: a bind to a local address on an Internet socket, and its messages.
Lines bindTrace(const std::string& timeStamp) {
    return {"[CALL ][2]bind 3", "[INFO ]<NOT_RECORDED_HOOK> bind",
            "[RET  ][2]bind (SOCKET ERROR : 97 WSAEAFNOSUPPORT : Address family not supported by "
            "protocol family):",
            dataTrace(0, secondProcessMessage(timeStamp)), dataTrace(3, bindMessage(timeStamp))};
}

ProbeSettings secondStage() {
    ProbeSettings settings = probe("startUp", "second-stage");
    // A second run leaves the first agent interface behind, by design.
    settings.environment["LSAN_OPTIONS"] = "detect_leaks=0";
    settings.environment["ASAN_OPTIONS"] = "detect_leaks=0";
    return settings;
}

std::string nanoseconds(const std::string& digits) {
    return "timestamp_ns_I8=\"" + digits + "\" ";
}

TEST(SecondStage, RunsAgainAfterItsStateWasCleaned) {
    const ProbeOutcome outcome = runWithAgent(secondStage());
    EXPECT_EQ(outcome.output, (Lines{"socket: descriptor errno 77", "bind: -1 errno 97"}));
    EXPECT_EQ(outcome.messages, (Lines{secondProcessMessage(""), bindMessage("")}));
    EXPECT_EQ(outcome.trace,
              secondStageTrace({notBesideAgent, noVariable},
                               joined({{recorderLine}, inactiveSocks, bindTrace("")})));
}

TEST(RecorderCore, IsLoadedFromThePathInTheEnvironment) {
    ProbeSettings settings = secondStage();
    settings.environment["VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH"] = VELTRA_RECORDER_CORE;
    const ProbeOutcome outcome = runWithAgent(settings);
    const std::string stamp = nanoseconds(coreTime);
    EXPECT_EQ(outcome.messages, (Lines{secondProcessMessage(stamp), bindMessage(stamp)}));
    EXPECT_EQ(outcome.trace,
              secondStageTrace({notBesideAgent, "[INFO ]" VELTRA_RECORDER_CORE " found...."},
                               joined({{recorderLine}, inactiveSocks, bindTrace(stamp)})));
}

TEST(RecorderCore, ThatIsMissingLeavesNanosecondsOut) {
    ProbeSettings settings = secondStage();
    settings.environment["VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH"] = "/nowhere/libNothing.so";
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.messages, (Lines{secondProcessMessage(""), bindMessage("")}));
    EXPECT_EQ(outcome.trace,
              secondStageTrace({notBesideAgent, "[INFO ]/nowhere/libNothing.so does not exists"},
                               joined({{recorderLine}, inactiveSocks, bindTrace("")})));
}

TEST(RecorderCore, IsLoadedFromFourLevelsAboveTheAgentFirst) {
    const TemporaryFolder tree;
    const fs::path agent = tree.path() / "a/b/c/d/e/libagent.so";
    const fs::path core = tree.path() / "a/veltra.recorder.core/Libraries/libRecorderCore64.so";
    fs::create_directories(agent.parent_path());
    fs::create_directories(core.parent_path());
    fs::copy_file(VELTRA_BUILT_AGENT, agent);
    fs::copy_file(VELTRA_RECORDER_CORE, core);

    ProbeSettings settings = secondStage();
    settings.agentLibrary = agent;
    settings.environment["VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH"] = VELTRA_REENTRANT_CORE;
    const ProbeOutcome outcome = runWithAgent(settings);
    const std::string stamp = nanoseconds(coreTime);
    EXPECT_EQ(outcome.messages, (Lines{secondProcessMessage(stamp), bindMessage(stamp)}));
    EXPECT_EQ(outcome.trace,
              secondStageTrace({}, joined({{recorderLine}, inactiveSocks, bindTrace(stamp)})));
}

// The messages of a run with a recorder core whose clock goes on by one at each reading.
Lines messagesWithClock(const std::string& name, const std::string& scenario) {
    ProbeSettings settings = quietProbe(name, scenario);
    settings.environment["VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH"] = VELTRA_RECORDER_CORE;
    settings.environment["RECORDER_CORE_STEP"] = "1";
    return runProbe(settings).messages;
}

std::string lastMessageWithClock(const std::string& name, const std::string& scenario) {
    const Lines messages = messagesWithClock(name, scenario);
    return messages.empty() ? "" : messages.back();
}

const std::string timedProcess =
    R"(<process timestamp_ns_I8="17979cfe3d85cd15" timestamp_I4="0" ticket_I4="1" workingdir_AS="FOLDER" pid_I4="PID" archi_AS="LINUX"/>)";
const std::string timedConnect =
    R"(<connect timestamp_ns_I8="17979cfe3d85cd16" localport_I4="LOCAL" pid_I4="PID" timestamp_I8="T" ticket_I4="2" socket_I8="3" duration_I4="D" duration_ns_I8="1" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="SERVER"/>)";

TEST(RecorderCore, StampsEveryMessage) {
    EXPECT_EQ(
        messagesWithClock("connect", "connect"),
        (Lines{
            timedProcess, timedConnect,
            R"(<close timestamp_ns_I8="17979cfe3d85cd18" pid_I4="PID" timestamp_I8="T" ticket_I4="3" socket_I8="3"/>)"}));
    EXPECT_EQ(
        lastMessageWithClock("streamSend", "send"),
        R"(<send timestamp_ns_I8="17979cfe3d85cd18" timestamp_I8="T" ticket_I4="3" socket_I8="3" pid_I4="PID" data_AS="GET /\x0d&#x0a;" length_U4="7"/>)");
    EXPECT_EQ(
        lastMessageWithClock("streamReceive", "recv"),
        R"(<receive timestamp_ns_I8="17979cfe3d85cd18" pid_I4="PID" timestamp_I8="T" ticket_I4="4" socket_I8="3" data_AS="HTTP/1.1\x0d&#x0a;" length_I4="a"/>)");
    EXPECT_EQ(
        lastMessageWithClock("lifecycle", "accept-two"),
        R"(<accept timestamp_ns_I8="17979cfe3d85cd18" pid_I4="PID" timestamp_I8="T" ticket_I4="6" from_I8="3" socket_I8="4" family_AS="AF_INET" ip_AS="127.0.0.1" port_I4="CLIENT"/>)");
}

TEST(Unplugged, SendsNothingAndSaysSo) {
    ProbeSettings settings = secondStage();
    settings.environment["VELTRA_SOCKET_AGENT_UNPLUG_AGENT"] = "";
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.messages, Lines{});
    EXPECT_EQ(outcome.trace,
              secondStageTrace(
                  {notBesideAgent, noVariable},
                  joined({{"[INFO ]************************************************************",
                           "[INFO ]* WARNING :                                                *",
                           "[INFO ]*    agent interface is unplugged (recording disabled)     *",
                           "[INFO ]*    undefine \"VELTRA_SOCKET_AGENT_UNPLUG_AGENT\" *",
                           "[INFO ]************************************************************",
                           recorderLine},
                          inactiveSocks,
                          bindTrace("")})));
}

TEST(RecorderAddress, IsLocalPort1092UnlessItIsSet) {
    ProbeSettings settings = secondStage();
    settings.recorderIsDefault = true;
    settings.environment["NEXT_LIBRARY_LOG"] = "1";
    const ProbeOutcome outcome = runWithAgent(settings);
    EXPECT_EQ(outcome.errors, "connect 127.0.0.1:1092\nconnect 127.0.0.1:1092\n");
    const auto line = std::find_if(outcome.trace.begin(), outcome.trace.end(),
                                   [](const std::string& text) { return text.find('@') == 7; });
    ASSERT_NE(line, outcome.trace.end());
    EXPECT_EQ(*line, "[INFO ]@@@@ ip : (null)\t @@@@ port : (null)");
}

TEST(RecorderAddress, TakesTheLowHalfOfANumberAsItsPort) {
    const std::pair<const char*, const char*> cases[] = {
        {"8080", "8080"}, {"70000", "4464"}, {"0x10", "0"}, {"12 34", "12"}, {"-1", "65535"}};
    for (const auto& [text, port] : cases) {
        SCOPED_TRACE(text);
        ProbeSettings settings = quietProbe("startUp", "failure-first");
        settings.recorderIsDefault = true;
        settings.environment = {{"NEXT_LIBRARY_LOG", "1"},
                                {"VELTRA_SOCKET_AGENT_IP_ADDRESS", "127.0.0.9"},
                                {"VELTRA_SOCKET_AGENT_PORT_NUMBER", text}};
        const std::string line = std::string("connect 127.0.0.9:") + port + "\n";
        EXPECT_EQ(runWithAgent(settings).errors, line + line);
    }
}

}  // namespace

}  // namespace veltra::testing
