#include "ScriptedSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>
#include <utility>

#include "support/RealCalls.h"

using veltra::testing::ReplacedCall;
using veltra::testing::useRealCalls;

namespace {

constexpr int errnoOfSuccess = 9999;

struct Script {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<std::string> texts;
    int socketError = 0;
    int connectError = 0;
    int sendError = 0;
    int closeError = 0;
    ssize_t mostSent = std::numeric_limits<ssize_t>::max();
};

Script* script = nullptr;

template <typename Result>
Result answer(int error, Result result) {
    errno = error != 0 ? error : errnoOfSuccess;
    return error != 0 ? -1 : result;
}

void note(std::string call) {
    script->calls.push_back(std::move(call));
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
        } else {
            result += c;
        }
    }
    return result + "\"";
}

int scriptedSocket(int domain, int type, int protocol) {
    const std::lock_guard lock(script->mutex);
    note("socket(" + std::to_string(domain) + ", " + std::to_string(type) + ", " +
         std::to_string(protocol) + ")");
    return answer(script->socketError, +ScriptedSockets::descriptor);
}

int scriptedConnect(int fd, const sockaddr* address, socklen_t length) {
    const std::lock_guard lock(script->mutex);
    sockaddr_in ipv4;
    std::memcpy(&ipv4, address, sizeof(ipv4));
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof(text));
    note("connect(" + std::to_string(fd) + ", " + std::to_string(ipv4.sin_family) + ", " + text +
         ":" + std::to_string(ntohs(ipv4.sin_port)) + ", " + std::to_string(length) + ")");
    return answer(script->connectError, 0);
}

ssize_t scriptedSend(int fd, const void* bytes, std::size_t length, int flags) {
    const std::lock_guard lock(script->mutex);
    const std::string text(static_cast<const char*>(bytes), length);
    note("send(" + std::to_string(fd) + ", " + quoted(text) + ", " + std::to_string(length) + ", " +
         std::to_string(flags) + ")");
    script->texts.push_back(text);
    return answer(script->sendError, std::min(static_cast<ssize_t>(length), script->mostSent));
}

int scriptedClose(int fd) {
    const std::lock_guard lock(script->mutex);
    note("close(" + std::to_string(fd) + ")");
    return answer(script->closeError, 0);
}

}  // namespace

struct ScriptedSockets::Replacements {
    ReplacedCall<socket_function> socket{socket_ptr, &scriptedSocket};
    ReplacedCall<connect_function> connect{connect_ptr, &scriptedConnect};
    ReplacedCall<send_function> send{send_ptr, &scriptedSend};
    ReplacedCall<close_function> close{close_ptr, &scriptedClose};
};

ScriptedSockets::ScriptedSockets() {
    useRealCalls();
    script = new Script;
    replacements_ = std::make_unique<Replacements>();
}

ScriptedSockets::~ScriptedSockets() {
    replacements_.reset();
    delete std::exchange(script, nullptr);
}

void ScriptedSockets::failSocket(int error) {
    script->socketError = error;
}

void ScriptedSockets::failConnect(int error) {
    script->connectError = error;
}

void ScriptedSockets::failSend(int error) {
    script->sendError = error;
}

void ScriptedSockets::failClose(int error) {
    script->closeError = error;
}

void ScriptedSockets::sendAtMost(ssize_t count) {
    script->mostSent = count;
}

std::vector<std::string> ScriptedSockets::takeCalls() {
    const std::lock_guard lock(script->mutex);
    return std::exchange(script->calls, {});
}

std::vector<std::string> ScriptedSockets::takeTexts() {
    const std::lock_guard lock(script->mutex);
    return std::exchange(script->texts, {});
}
