#pragma once

#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

// Stands in for the C library's socket, connect, send and close while it lives: notes every call
// as text and answers as told. Every call changes errno, also one that succeeds. One at a time.
class ScriptedSockets {
public:
    // The descriptor that socket answers.
    static constexpr int descriptor = 40;

    ScriptedSockets();
    ~ScriptedSockets();
    ScriptedSockets(const ScriptedSockets&) = delete;
    ScriptedSockets& operator=(const ScriptedSockets&) = delete;

    // From now on the call fails with the error code; 0: it succeeds.
    void failSocket(int error);
    void failConnect(int error);
    void failSend(int error);
    void failClose(int error);
    // From now on at most so many bytes are sent.
    void sendAtMost(ssize_t count);

    // The calls since the last take, each as "name(arguments)".
    std::vector<std::string> takeCalls();
    // The texts given to send since the last take of texts.
    std::vector<std::string> takeTexts();

private:
    struct Replacements;
    std::unique_ptr<Replacements> replacements_;
};
