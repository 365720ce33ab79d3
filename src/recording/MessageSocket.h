#pragma once

#include "base/ownDescriptors.h"

// The socket of one message, from its creation to its close. Where other threads could meet it, it
// is close-on-exec and out of the way of the numbers that they get, and one that the application
// has put a file of its own in the place of is not touched any more.
class MessageSocket {
public:
    MessageSocket();
    ~MessageSocket();
    MessageSocket(const MessageSocket&) = delete;
    MessageSocket& operator=(const MessageSocket&) = delete;

    // Its number; -1, with errno, when there is none to be had.
    int number() const { return number_; }

    // False when the number means something else by now, with the error code of one that means
    // nothing.
    bool isStillOurs() const;

private:
    // Signals are blocked meanwhile: in a program with one thread nobody comes between.
    const bool isSeenByOthers_;
    FileIdentity identity_;
    int number_;
};
