#include "recording/MessageSocket.h"

#include <cerrno>

#include "base/realFunctions.h"

MessageSocket::MessageSocket()
    : isSeenByOthers_(areOtherThreadsAbout()), identity_{}, number_(openOwnSocket()) {
    if (number_ == -1 || !isSeenByOthers_) return;
    identity_ = fileIdentity(number_);
    number_ = moveDescriptorAside(number_);
    rememberOwnDescriptor(number_, identity_);
}

MessageSocket::~MessageSocket() {
    if (number_ == -1) return;
    if (isSeenByOthers_) forgetOwnDescriptor(number_);
    if (!isSeenByOthers_ || fileIdentity(number_) == identity_) True_close(number_);
}

bool MessageSocket::isStillOurs() const {
    if (!isSeenByOthers_ || fileIdentity(number_) == identity_) return true;
    True_WSASetLastError(EBADF);
    return false;
}
