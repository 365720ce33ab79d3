#pragma once

#include <cstdint>
#include <functional>

#include "recording/ConversationTable.h"
#include "report/TcpPacket.h"

namespace veltra {

// Makes up the TCP segments of one conversation from its events: handshake, data, acknowledgements
// and close, with sequence numbers that fit.
class TcpStream {
public:
    // Where the segments go; `time` in nanoseconds since 1970.
    using Sink = std::function<void(std::int64_t time, const TcpSegment& segment)>;

    // A stream that has not begun and can only be assigned to.
    TcpStream() = default;

    explicit TcpStream(const Conversation& conversation);

    // Hands out the segments that the event stands for. The events of the conversation have to be
    // given one after the other from its first, each with its time and the conversation as it is
    // after it.
    void follow(const Event& event, const Conversation& conversation, std::int64_t time,
                const Sink& sink);

private:
    // One direction: who sends, and the sequence number of what comes next.
    struct Side {
        Endpoint endpoint;
        std::uint32_t next = 0;
        bool isFinished = false;
    };

    void connect(const Event& event, const Conversation& conversation, std::int64_t time,
                 const Sink& sink);
    void exchange(const Event& event, std::int64_t time, const Sink& sink);
    void fail(std::int64_t error, std::int64_t time, const Sink& sink);
    void open(Side& opener, Side& other, std::int64_t time, const Sink& sink);
    void answerOpening(Side& opener, Side& other, std::int64_t time, const Sink& sink);
    void transfer(Side& from, Side& to, std::string_view payload, std::int64_t time,
                  const Sink& sink);
    void finish(Side& from, Side& to, std::int64_t time, const Sink& sink);
    void close(std::int64_t time, const Sink& sink);
    void reset(std::int64_t time, const Sink& sink);
    static void emit(Side& from, const Side& to, std::uint8_t flags, std::string_view payload,
                     std::int64_t time, const Sink& sink);

    Side local_;
    Side remote_;
    bool hasBegun_ = false;  // the first segment is out, or was before the recording began
    bool isOpen_ = false;    // the handshake is done
    bool isReset_ = false;
};

}  // namespace veltra
