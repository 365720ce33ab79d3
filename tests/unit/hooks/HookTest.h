#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "hooks/HookSocket.h"
#include "recording/AgentInterface.h"
#include "registry/registryState.h"
#include "support/MessageCollector.h"
#include "support/Normaliser.h"
#include "support/RealCalls.h"
#include "support/TraceLog.h"

using Lines = std::vector<std::string>;

// A test of a hook body: start-up counts as done, the real functions are the C library's until the
// test puts others in their place, traces are on, and what is recorded goes to a recorder. The
// counters start at 1.
class HookTest : public testing::Test {
protected:
    HookTest() {
        veltra::testing::useRealCalls();
        cleanSocketInfo();
        currentProcessId = getpid();
        socketInitialized = 1;
        agentInterface = &recorder_;
    }
    ~HookTest() override {
        // One that start-up has made stays for ever.
        if (agentInterface == &recorder_) agentInterface = nullptr;
        getCurrentTimePtr = nullptr;
        socketInitialized = 0;
        cleanSocketInfo();
    }

    // What has been traced since the last take. Time stamps read "T", the process id "PID", and an
    // address that was named before its name.
    Lines takeTrace() {
        const veltra::testing::Normaliser names = normaliser();
        Lines lines;
        for (const std::string& line : log_.takeLines())
            lines.push_back(names.traceLine(line));
        return lines;
    }

    // All messages, in the same way. Nothing is recorded from now on.
    Lines takeMessages() {
        const veltra::testing::Normaliser names = normaliser();
        Lines messages;
        for (const std::string& message : collector_.takeAfterStop())
            messages.push_back(names.message(message));
        return messages;
    }

    void nameAddress(const std::string& name, const void* address) {
        char line[100];
        std::snprintf(line, sizeof(line), "@address %s %lx", name.c_str(),
                      reinterpret_cast<unsigned long>(address));
        known_.emplace_back(line);
    }

private:
    veltra::testing::Normaliser normaliser() {
        Lines known = known_;
        veltra::testing::Normaliser names(known);
        names.setLifetime(begin_, getTimeStamp());
        return names;
    }

    Lines known_{"@pid " + std::to_string(getpid())};
    std::int64_t begin_ = getTimeStamp();
    veltra::testing::MessageCollector collector_;
    AgentInterface recorder_{"127.0.0.1", std::to_string(collector_.port()).c_str(), nullptr};
    veltra::testing::TraceLog log_;
};

// The trace of a message.
inline std::string dataTrace(int callNumber, const std::string& message) {
    return "[DATA ][" + std::to_string(callNumber) + "]" + message;
}

// The message that announces a call that is not recorded.
inline std::string notRecordedMessage(const std::string& ticket, const std::string& name) {
    return R"(<notrecorded timestamp_I8="T" ticket_I4=")" + ticket + R"(" name_AS=")" + name +
           R"("/>)";
}
