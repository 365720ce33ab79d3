#include "report/TcpStream.h"

#include <netinet/tcp.h>

#include <algorithm>
#include <cerrno>

namespace veltra {

namespace {

using Kind = RecorderMessageKind;
using Name = RecorderMessageAttribute;

// Conversations that follow each other on the same ports begin far from each other.
constexpr std::uint64_t sequenceStep = 2654435761;

// How long the connect took, in nanoseconds.
std::int64_t durationOf(const Event& event) {
    constexpr std::int64_t nanosecondsPerMillisecond = 1'000'000;
    constexpr std::int64_t longest = std::int64_t{86'400'000'000'000};
    const auto nanoseconds = event.number(Name::durationNs);
    const std::int64_t milliseconds = event.number(Name::duration).value_or(0);
    return std::clamp<std::int64_t>(nanoseconds.value_or(milliseconds * nanosecondsPerMillisecond),
                                    0, longest);
}

}  // namespace

TcpStream::TcpStream(const Conversation& conversation) {
    const EndpointPair endpoints = endpointsOf(conversation);
    local_.endpoint = endpoints.local;
    remote_.endpoint = endpoints.remote;
    local_.next = static_cast<std::uint32_t>(conversation.number * sequenceStep);
    remote_.next = ~local_.next;
}

void TcpStream::follow(const Event& event, const Conversation& conversation, std::int64_t time,
                       const Sink& sink) {
    switch (event.kind) {
        case Kind::connect:
            return connect(event, conversation, time, sink);
        case Kind::accept:
            open(remote_, local_, time, sink);
            return answerOpening(remote_, local_, time, sink);
        case Kind::send:
        case Kind::receive:
            return exchange(event, time, sink);
        case Kind::close:
            return close(time, sink);
        default:
            return;
    }
}

void TcpStream::connect(const Event& event, const Conversation& conversation, std::int64_t time,
                        const Sink& sink) {
    if (!hasBegun_) open(local_, remote_, time, sink);
    const std::int64_t end = time + durationOf(event);
    if (isFailedConnect(event)) return fail(*event.error(), end, sink);
    if (!conversation.isConnecting) answerOpening(local_, remote_, end, sink);
}

void TcpStream::exchange(const Event& event, std::int64_t time, const Sink& sink) {
    if (const auto error = event.error()) return fail(*error, time, sink);
    if (!hasBegun_) {
        hasBegun_ = true;
        isOpen_ = true;
    }
    // That there is data shows that a connect that was under way has come to its end.
    if (!isOpen_) answerOpening(local_, remote_, time, sink);
    if (event.kind == Kind::send) return transfer(local_, remote_, event.payload(), time, sink);
    if (event.isEndOfStream()) return finish(remote_, local_, time, sink);
    transfer(remote_, local_, event.payload(), time, sink);
}

// Other failures leave nothing on the wire.
void TcpStream::fail(std::int64_t error, std::int64_t time, const Sink& sink) {
    if (error == ECONNREFUSED || error == ECONNRESET) reset(time, sink);
}

void TcpStream::open(Side& opener, Side& other, std::int64_t time, const Sink& sink) {
    hasBegun_ = true;
    TcpSegment segment;
    segment.from = opener.endpoint;
    segment.to = other.endpoint;
    segment.sequence = opener.next++;
    segment.flags = TH_SYN;
    sink(time, segment);
}

void TcpStream::answerOpening(Side& opener, Side& other, std::int64_t time, const Sink& sink) {
    if (isOpen_) return;
    isOpen_ = true;
    emit(other, opener, TH_SYN | TH_ACK, {}, time, sink);
    emit(opener, other, TH_ACK, {}, time, sink);
}

void TcpStream::transfer(Side& from, Side& to, std::string_view payload, std::int64_t time,
                         const Sink& sink) {
    if (payload.empty()) return;
    while (!payload.empty()) {
        const std::string_view piece = payload.substr(0, TcpSegment::mostPayload);
        payload.remove_prefix(piece.size());
        const int flags = payload.empty() ? TH_ACK | TH_PUSH : TH_ACK;
        emit(from, to, static_cast<std::uint8_t>(flags), piece, time, sink);
    }
    emit(to, from, TH_ACK, {}, time, sink);
}

void TcpStream::finish(Side& from, Side& to, std::int64_t time, const Sink& sink) {
    if (from.isFinished || isReset_) return;
    emit(from, to, TH_FIN | TH_ACK, {}, time, sink);
    from.isFinished = true;
    emit(to, from, TH_ACK, {}, time, sink);
}

void TcpStream::close(std::int64_t time, const Sink& sink) {
    if (!isOpen_) return;
    finish(local_, remote_, time, sink);
    finish(remote_, local_, time, sink);
}

void TcpStream::reset(std::int64_t time, const Sink& sink) {
    if (isReset_) return;
    isReset_ = true;
    emit(remote_, local_, TH_RST | TH_ACK, {}, time, sink);
}

void TcpStream::emit(Side& from, const Side& to, std::uint8_t flags, std::string_view payload,
                     std::int64_t time, const Sink& sink) {
    TcpSegment segment;
    segment.from = from.endpoint;
    segment.to = to.endpoint;
    segment.sequence = from.next;
    segment.acknowledgement = to.next;
    segment.flags = flags;
    segment.payload = payload;
    from.next += static_cast<std::uint32_t>(payload.size());
    if ((flags & (TH_SYN | TH_FIN)) != 0) ++from.next;
    sink(time, segment);
}

}  // namespace veltra
