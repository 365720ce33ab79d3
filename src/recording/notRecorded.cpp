#include "base/Counter.h"
#include "base/utils.h"
#include "recording/AgentInterface.h"

namespace {

void sendNotRecorded(RecorderMessageAttribute attribute, const char* text) {
    const long long timeStamp = getTimeStamp();
    const long long timeStampNs = getTimeStampNs();
    const long long ticket = getTicket();
    RecorderMessage message(RecorderMessageKind::notrecorded, getGlobalCpt());
    setTimeStampNs(message, timeStampNs);
    message.set(RecorderMessageAttribute::timestamp, timeStamp);
    message.setInt(RecorderMessageAttribute::ticket, static_cast<int>(ticket));
    message.set(attribute, text == nullptr ? "???" : text, 0);
    sendToRecorder(message);
}

}  // namespace

void sendNotHookedInfo(const char* functionName) {
    sendNotRecorded(RecorderMessageAttribute::name, functionName);
}

void sendNotHookedBadArchi(char* text) {
    sendNotRecorded(RecorderMessageAttribute::info, text);
}
