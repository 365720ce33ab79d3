#include "recording/RecorderMessage.h"

#include "base/utils.h"
#include "recording/AgentInterface.h"

namespace {

// Nobody can see the text of a message that is neither sent nor traced.
bool isMessageWanted() {
    return !agentInterfaceUnplugged.load(std::memory_order_relaxed) || isTraceWritten(TRACE_DATA);
}

}  // namespace

RecorderMessage::RecorderMessage(RecorderMessageKind kind, int call)
    : printBuffer(isMessageWanted()), callNumber(call), returnValue(0), errorValue(0) {
    printBuffer.append("<", 1);
    printBuffer.append(MARKER_RMT[static_cast<int>(kind)], 0);
}

// The return and error rule: remembers what is special, and tells whether the attribute is written.
bool RecorderMessage::isWritten(RecorderMessageAttribute attribute, long long value) {
    if (attribute == RecorderMessageAttribute::returnValue) {
        returnValue = value;
        return false;
    }
    if (attribute == RecorderMessageAttribute::error) {
        errorValue = value;
        return returnValue == -1;
    }
    return true;
}

void RecorderMessage::set(RecorderMessageAttribute attribute, long long value) {
    if (isWritten(attribute, value)) printBuffer.appendAttr(attribute, value);
}

void RecorderMessage::setInt64(RecorderMessageAttribute attribute, long long value) {
    set(attribute, value);
}

void RecorderMessage::setInt(RecorderMessageAttribute attribute, int value) {
    if (isWritten(attribute, value)) printBuffer.appendAttr(attribute, value);
}

void RecorderMessage::set(RecorderMessageAttribute attribute, int value) {
    setInt(attribute, value);
}

void RecorderMessage::set(RecorderMessageAttribute attribute, unsigned long value) {
    printBuffer.appendAttr(attribute, value);
}

void RecorderMessage::setSizeT(RecorderMessageAttribute attribute, unsigned long value) {
    set(attribute, value);
}

void RecorderMessage::set(RecorderMessageAttribute attribute, const char* text, int count) {
    if (count < 0) return;
    printBuffer.appendAttr(attribute, text, static_cast<unsigned long>(count));
}

void RecorderMessage::set(RecorderMessageAttribute attribute, const wchar_t* text, int count) {
    if (count < 0) return;
    printBuffer.appendAttr(attribute, text, static_cast<unsigned long>(count));
}

void RecorderMessage::setiovect(RecorderMessageAttribute attribute, const iovec* buffers,
                                unsigned long bufferCount, unsigned long limit) {
    printBuffer.appendAttr(attribute, buffers, bufferCount, limit);
}

void RecorderMessage::finish() {
    printBuffer.append("/>", 2);
    display();
    printBuffer.append("\n", 1);
}

void RecorderMessage::display() const {
    x_disp(TRACE_DATA, "[%d]%s", callNumber, toString());
}

const char* RecorderMessage::toString() const {
    return printBuffer.toString();
}

unsigned long RecorderMessage::length() const {
    return printBuffer.length();
}
