#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "recording/Event.h"
#include "recording/Peer.h"

namespace veltra {

// A connection from its begin to its end, or an attempt at one.
struct Conversation {
    std::uint64_t number = 0;  // counts from 1 in the order of appearance
    std::int64_t process = 0;  // 0: not known
    std::int64_t socket = 0;
    bool isAccepted = false;    // somebody else opened it
    bool isConnecting = false;  // nothing has shown yet that the connect succeeded
    std::optional<Peer> peer;   // nothing: the recording does not have its begin
    std::optional<std::uint16_t> localPort;
};

// What an event does to the conversation that its socket has at the time, if any.
enum class ConversationStep {
    none,   // it belongs to none
    begin,  // it begins one
    goOn,   // it belongs to the current one
    end     // it ends the current one
};
ConversationStep conversationStep(const Event& event, const Conversation* current);

// The conversation that the event begins.
Conversation beginConversation(const Event& event, std::uint64_t number);

// Whether the event says that a connect failed for good, which ends the attempt at once.
bool isFailedConnect(const Event& event) noexcept;

// Whether a conversation that was still connecting is so after the event.
bool isStillConnecting(const Event& event) noexcept;

// Finds the conversation that each event belongs to: a socket's number is used again and again, by
// many processes. Keeps the open ones with a State of the caller's for each.
template <typename State>
class ConversationTable {
public:
    ConversationTable() = default;
    ConversationTable(const ConversationTable&) = delete;
    ConversationTable& operator=(const ConversationTable&) = delete;

    struct Entry {
        Conversation conversation;
        State state{};
        bool hasBegun = false;  // by the event that was followed last
        bool hasEnded = false;  // by the event that was followed last: it is forgotten next
    };

    // Returns the entry of the conversation that the event belongs to, or null if it belongs to
    // none. Valid until the next call. Events are to be given in the recording's order.
    Entry* follow(const Event& event) {
        if (ended_ != entries_.end()) entries_.erase(std::exchange(ended_, entries_.end()));
        const std::int64_t process = event.process().value_or(0);
        if (event.kind == RecorderMessageKind::process) forget(process);
        if (!event.socket()) return nullptr;

        auto found = entries_.find({process, *event.socket()});
        const Conversation* const current =
            found == entries_.end() ? nullptr : &found->second.conversation;
        const ConversationStep step = conversationStep(event, current);
        if (step == ConversationStep::none) return nullptr;
        if (step == ConversationStep::begin) {
            found = entries_
                        .insert_or_assign({process, *event.socket()},
                                          Entry{beginConversation(event, ++count_), State{}})
                        .first;
        }
        Entry& entry = found->second;
        entry.hasBegun = step == ConversationStep::begin;
        entry.hasEnded = step == ConversationStep::end || isFailedConnect(event);
        if (entry.hasEnded) ended_ = found;
        if (!isStillConnecting(event)) entry.conversation.isConnecting = false;
        return &entry;
    }

private:
    using Key = std::pair<std::int64_t, std::int64_t>;  // process and socket

    // Whatever a process of this number had open before, a new one does not have.
    void forget(std::int64_t process) {
        entries_.erase(entries_.lower_bound({process, std::numeric_limits<std::int64_t>::min()}),
                       entries_.upper_bound({process, std::numeric_limits<std::int64_t>::max()}));
    }

    std::map<Key, Entry> entries_;
    typename std::map<Key, Entry>::iterator ended_ = entries_.end();
    std::uint64_t count_ = 0;
};

}  // namespace veltra
