#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/Counter.h"
#include "base/heapObject.h"
#include "hooks/HookSocket.h"
#include "hooks/hookStamps.h"
#include "recording/AgentInterface.h"
#include "socks/Socks.h"

constinit std::atomic<int> socketInitialized{0};
constinit std::atomic<bool> doubleLogSocks{false};

namespace {

constinit std::atomic<bool> secondStageRunning{false};

constinit char VeltraDllPath[1025] = {};
constinit const char* VeltraDllName = nullptr;

constexpr const char* recorderCoreDirectory = "../../../../veltra.recorder.core/Libraries/";
constexpr const char* recorderCoreLibrary = "libRecorderCore64.so";
constexpr const char* clockSymbol = "currentTime";
constexpr const char* architecture = "LINUX";
constexpr const char* recorderCoreVariable = "VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH";

bool isSet(const char* variable) {
    return getenv(variable) != nullptr;
}

void locateAgentLibrary() {
    Dl_info self;
    VeltraDllName = nullptr;
    if (dladdr(reinterpret_cast<const void*>(&initializeSocketPointers), &self) == 0) return;
    snprintf(VeltraDllPath, sizeof(VeltraDllPath), "%s", self.dli_fname);
    const char* const slash = std::strrchr(VeltraDllPath, '/');
    if (slash != nullptr) VeltraDllName = slash + 1;
}

void loadClock(const char* path) {
    getCurrentTimePtr.store(
        reinterpret_cast<long long (*)()>(LoadSymbolFromLibrary(path, clockSymbol)),
        std::memory_order_relaxed);
}

bool hasClock() {
    return getCurrentTimePtr.load(std::memory_order_relaxed) != nullptr;
}

// Beside the agent, four directory levels up.
void loadClockByRelativePath() {
    if (VeltraDllName == nullptr) return;
    const auto directoryLength = static_cast<int>(VeltraDllName - 1 - VeltraDllPath);
    char path[2048];
    snprintf(path, sizeof(path), "%.*s/%s%s", directoryLength, VeltraDllPath, recorderCoreDirectory,
             recorderCoreLibrary);
    x_disp(TRACE_INFO, "try to load %s library function %s", path, clockSymbol);
    loadClock(path);
}

void loadClockByVariable() {
    x_disp(TRACE_INFO, "%s%s does not exists, trying with the one defined in environment variable",
           recorderCoreDirectory, recorderCoreLibrary);
    const char* const path = getenv(recorderCoreVariable);
    if (path == nullptr) {
        x_disp(TRACE_INFO, "env variable %s is not defined => abort loading lib",
               recorderCoreVariable);
        return;
    }
    loadClock(path);
    if (hasClock()) {
        x_disp(TRACE_INFO, "%s found....", path);
    } else {
        x_disp(TRACE_INFO, "%s does not exists", path);
    }
}

void traceUnplugged() {
    x_disp(TRACE_INFO, "************************************************************");
    x_disp(TRACE_INFO, "* WARNING :                                                *");
    x_disp(TRACE_INFO, "*    agent interface is unplugged (recording disabled)     *");
    x_disp(TRACE_INFO, "*    undefine \"VELTRA_SOCKET_AGENT_UNPLUG_AGENT\" *");
    x_disp(TRACE_INFO, "************************************************************");
}

// The time stamp is the literal 0, not the clock: how recorders know this message.
RecorderMessage* makeProcessMessage() {
    auto* const message = makeOnHeap<RecorderMessage>(RecorderMessageKind::process, 0);
    if (message == nullptr) return nullptr;
    setTimeStampNs(*message, getTimeStampNs());
    message->setInt(RecorderMessageAttribute::timestamp, 0);
    message->setInt(RecorderMessageAttribute::ticket, static_cast<int>(getTicket()));
    char* const directory = get_current_dir_name();
    message->set(RecorderMessageAttribute::workingdir, directory, 0);
    free(directory);
    message->setInt(RecorderMessageAttribute::pid, getpid());
    message->set(RecorderMessageAttribute::archi, architecture, 0);
    return message;
}

void createAgentInterface(RecorderMessage* processMessage) {
    const char* const address = getenv("VELTRA_SOCKET_AGENT_IP_ADDRESS");
    const char* const port = getenv("VELTRA_SOCKET_AGENT_PORT_NUMBER");
    x_disp(TRACE_INFO, "@@@@ ip : %s\t @@@@ port : %s", address, port);
    agentInterface.store(makeOnHeap<AgentInterface>(address, port, processMessage),
                         std::memory_order_release);
}

#define FILL(name)                                                                \
    name##_ptr.store(reinterpret_cast<name##_function>(lookUp(RTLD_NEXT, #name)), \
                     std::memory_order_relaxed)

void fillRealFunctions() {
    const GetProcAddressFunction lookUp = getfGetProcAddress();
    FILL(accept);
    FILL(close);
    FILL(connect);
    FILL(getaddrinfo);
    FILL(gethostbyname);
    FILL(gethostname);
    FILL(getpeername);
    FILL(getservbyname);
    FILL(getservbyport);
    FILL(getsockname);
    FILL(getsockopt);
    FILL(htonl);
    FILL(htons);
    FILL(inet_addr);
    FILL(inet_pton);
    FILL(inet_ntoa);
    FILL(listen);
    FILL(bind);
    FILL(ntohs);
    FILL(recv);
    FILL(recvfrom);
    FILL(select);
    FILL(send);
    FILL(sendto);
    socketInitialized.store(1, std::memory_order_release);
    FILL(socket);
    WSAGetLastError_ptr.store(&WSAGetLastError, std::memory_order_relaxed);
    WSASetLastError_ptr.store(&WSASetLastError, std::memory_order_relaxed);
}

#undef FILL

void runSecondStage() {
    x_disp(TRACE_INFO, "initialize library 64");
    currentProcessId.store(getpid(), std::memory_order_relaxed);
    locateAgentLibrary();
    doubleLogSocks.store(isSet("VELTRA_SOCKET_AGENT_DOUBLE_LOG_SOCKS"), std::memory_order_relaxed);
    loadClockByRelativePath();
    if (!hasClock()) loadClockByVariable();
    if (isSet("VELTRA_SOCKET_AGENT_UNPLUG_AGENT")) {
        agentInterfaceUnplugged.store(true, std::memory_order_relaxed);
        traceUnplugged();
    }
    createAgentInterface(makeProcessMessage());
    fillRealFunctions();
    initializeSocksParam();
}

}  // namespace

void initializeSocketPointers() {
    if (socketInitialized.load(std::memory_order_acquire) != 0) return;
    GlobalInit();
    // GlobalInit runs this stage itself when nobody has. A hook that is reached from inside the
    // stage (by the recorder core's constructor, say) goes on with what there is.
    if (socketInitialized.load(std::memory_order_acquire) != 0 ||
        secondStageRunning.exchange(true)) {
        return;
    }
    runSecondStage();
    secondStageRunning.store(false);
}

void forgetInterruptedSecondStage() {
    secondStageRunning.store(false);
}

void pre_init_startup() {}

void cleanSocketPointers() {
    socketInitialized.store(0, std::memory_order_relaxed);
}

int end() {
    const int callNumber = getGlobalCpt();
    x_disp(TRACE_RET, "[%d]end called", callNumber);
    RecorderMessage message(RecorderMessageKind::exit, callNumber);
    sendToRecorder(message);
    return 0;
}
