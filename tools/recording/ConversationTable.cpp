#include "recording/ConversationTable.h"

#include <cerrno>

namespace veltra {

namespace {

using Kind = RecorderMessageKind;

// The connect has begun, and its end is not known yet.
bool isUnderWay(std::int64_t error) {
    return error == EINPROGRESS || error == EALREADY || error == EINTR;
}

}  // namespace

ConversationStep conversationStep(const Event& event, const Conversation* current) {
    switch (event.kind) {
        case Kind::connect:
            // Programs ask again until a connect that was under way is done.
            return current != nullptr && current->isConnecting && current->peer == peerOf(event)
                       ? ConversationStep::goOn
                       : ConversationStep::begin;
        case Kind::accept:
            return ConversationStep::begin;
        case Kind::send:
        case Kind::receive:
            return current != nullptr ? ConversationStep::goOn : ConversationStep::begin;
        case Kind::close:
            return current != nullptr ? ConversationStep::end : ConversationStep::none;
        default:
            return ConversationStep::none;
    }
}

Conversation beginConversation(const Event& event, std::uint64_t number) {
    Conversation conversation;
    conversation.number = number;
    conversation.process = event.process().value_or(0);
    conversation.socket = event.socket().value_or(0);
    conversation.isAccepted = event.kind == Kind::accept;
    conversation.isConnecting = event.kind == Kind::connect && isStillConnecting(event);
    // What stands in other messages is what the program's address buffer held.
    if (event.kind == Kind::connect || event.kind == Kind::accept) {
        conversation.peer = peerOf(event);
    }
    const auto localPort = event.number(RecorderMessageAttribute::localport);
    if (localPort && *localPort > 0 && *localPort <= std::numeric_limits<std::uint16_t>::max()) {
        conversation.localPort = static_cast<std::uint16_t>(*localPort);
    }
    return conversation;
}

bool isFailedConnect(const Event& event) noexcept {
    const std::int64_t error = event.error().value_or(0);
    return event.kind == Kind::connect && error != 0 && error != EISCONN && !isUnderWay(error);
}

bool isStillConnecting(const Event& event) noexcept {
    return event.kind == Kind::connect ? isUnderWay(event.error().value_or(0))
                                       : event.error().has_value();
}

}  // namespace veltra
