#pragma once

#include <sys/uio.h>

#include "recording/PrintBuffer.h"
#include "recording/messageNames.h"

// One recorded event: a line shaped like an empty mark-up element, whose attributes stand in the
// order of the setter calls. A message belongs to the thread that builds it.
//
// The numeric setters marked (*) treat two attributes specially: "return" is kept and never
// written; "error" is written only if the "return" given before it was -1.
class RecorderMessage {
public:
    // `callNumber` is the number of the hook call that produced the message (0: none); only the
    // trace shows it.
    RecorderMessage(RecorderMessageKind kind, int callNumber);
    RecorderMessage(const RecorderMessage&) = delete;
    RecorderMessage& operator=(const RecorderMessage&) = delete;

    void set(RecorderMessageAttribute attribute, long long value);           // I8 (*)
    void setInt64(RecorderMessageAttribute attribute, long long value);      // I8 (*)
    void setInt(RecorderMessageAttribute attribute, int value);              // I4 (*)
    void set(RecorderMessageAttribute attribute, int value);                 // I4 (*)
    void set(RecorderMessageAttribute attribute, unsigned long value);       // U4, low 32 bits
    void setSizeT(RecorderMessageAttribute attribute, unsigned long value);  // U4, low 32 bits
    // AS and UN. A count of 0 means up to the zero; a negative count or a null text writes nothing.
    void set(RecorderMessageAttribute attribute, const char* text, int count);
    void set(RecorderMessageAttribute attribute, const wchar_t* text, int count);
    // AS: at most `limit` bytes of the buffers, one after the other; a null array writes nothing.
    void setiovect(RecorderMessageAttribute attribute, const iovec* buffers,
                   unsigned long bufferCount, unsigned long limit);

    // Ends the element, traces it (kind DATA) and ends the line. Called once, just before sending;
    // no setter may follow.
    void finish();
    // Traces the text as it stands.
    void display() const;

    // The text, with its terminating zero byte, and its length in bytes: empty and 0 when memory
    // was too short for the message.
    const char* toString() const;
    unsigned long length() const;

private:
    bool isWritten(RecorderMessageAttribute attribute, long long value);

    PrintBuffer printBuffer;
    int callNumber;
    long long returnValue;
    long long errorValue;
};
