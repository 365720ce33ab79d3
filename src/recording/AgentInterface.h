#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "base/CriticalSection.h"
#include "base/export.h"
#include "recording/MessageSocket.h"
#include "recording/RecorderMessage.h"

// The sender of recorder messages: one TCP connection to the recording agent for each.
class AgentInterface {
public:
    // `address`: IPv4 address in dotted form (null: 127.0.0.1). `port`: decimal number (null: 1092;
    // a text that is no number gives 0; only the low 16 bits count). `first`: a message on the heap
    // that is sent before any other, or null; the interface becomes its owner.
    AgentInterface(const char* address, const char* port, RecorderMessage* first);
    // An unsent first message is discarded.
    ~AgentInterface();
    AgentInterface(const AgentInterface&) = delete;
    AgentInterface& operator=(const AgentInterface&) = delete;

    // Finishes and sends the message, and before it the first message if that is still held. The
    // caller keeps the message. A message that cannot be delivered leaves one ERROR trace and is
    // lost; it takes less than ten seconds to find that out. errno stays as it is, and no SIGPIPE
    // is raised.
    void sendAMessage(RecorderMessage& message);

    // The locks, in the order in which they are taken, for whoever has to hold them across a fork.
    std::array<CriticalSection*, 2> locks() { return {&messageLock, &sendLock}; }

    // In a forked child: closes the connection that another thread of the parent had open.
    void closeInheritedConnection();

    // Sends "exit" through an interface of its own. Returns 0; ends the process with exit(-1) when
    // the working directory cannot be told. For outside callers; the third value is ignored.
    VELTRA_EXPORT static int emitEndOfProcess(const char* address, const char* port,
                                              long long unused);

private:
    bool flushFirstMessage(const timespec& turnDeadline);
    bool isFirstMessageOurs();
    bool _sendAMessage(const char* text, unsigned long length, const timespec& turnDeadline);
    void deliver(const char* text, unsigned long length);
    void sendOn(const MessageSocket& connection, const char* text, unsigned long length);

    CriticalSection messageLock;  // guards firstMessage
    char address[200];
    std::int32_t port;
    std::atomic<RecorderMessage*> firstMessage;
    std::atomic<int>* firstMessageSent;  // shared with forked children; null when memory is short
    CriticalSection sendLock;            // one connection at a time
    std::atomic<int> openConnection;     // the moment's connection, or -1
};

// The process-wide interface, null until start-up has made it, and the switch that silences it.
extern std::atomic<AgentInterface*> agentInterface;
extern std::atomic<bool> agentInterfaceUnplugged;

extern "C" {
// Returns the process-wide interface, null before start-up.
VELTRA_EXPORT AgentInterface* getAgentInterface();

// Sends a "notrecorded" message with the text (null: "???") in its "info" attribute.
VELTRA_EXPORT void sendNotHookedBadArchi(char* text);
}

// Sends a "notrecorded" message naming a function (null: "???") whose calls are not recorded.
void sendNotHookedInfo(const char* functionName);

// Sends a message through the process-wide interface, if start-up has come to make it.
void sendToRecorder(RecorderMessage& message);

// Sets "timestamp_ns", unless the recorder core is absent (-1).
void setTimeStampNs(RecorderMessage& message, long long timeStampNs);
