#include "recording/Summary.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace veltra {

namespace {

enum Column : std::size_t {
    process,
    socket,
    peer,
    duration,
    messagesSent,
    bytesSent,
    messagesReceived,
    bytesReceived,
    errors,
    columnCount
};

using Cells = std::array<std::string, columnCount>;

constexpr std::array<const char*, columnCount> headings = {
    "process",    "socket",   "peer",           "seconds", "sends",
    "bytes sent", "receives", "bytes received", "errors"};

std::string secondsText(const Summary::Row& row) {
    if (!row.begin || !row.end) return "-";
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%.3f%s",
                  static_cast<double>(*row.end - *row.begin) / 1e9, row.isClosed ? "" : "+");
    return text.data();
}

std::string peerText(const Conversation& conversation) {
    if (!conversation.peer) return "unknown";
    return (conversation.isAccepted ? "from " : "") + conversation.peer->text();
}

void setTraffic(Cells& cells, const Summary::Traffic& sent, const Summary::Traffic& received,
                std::uint64_t errorCount) {
    cells[messagesSent] = std::to_string(sent.messages);
    cells[bytesSent] = std::to_string(sent.bytes);
    cells[messagesReceived] = std::to_string(received.messages);
    cells[bytesReceived] = std::to_string(received.bytes);
    cells[errors] = std::to_string(errorCount);
}

Cells cellsOf(const Summary::Row& row) {
    Cells cells;
    const Conversation& conversation = row.conversation;
    cells[process] = conversation.process == 0 ? "-" : std::to_string(conversation.process);
    cells[socket] = std::to_string(conversation.socket);
    cells[peer] = peerText(conversation);
    cells[duration] = secondsText(row);
    setTraffic(cells, row.sent, row.received, row.errors);
    return cells;
}

Cells totalsOf(const std::vector<Summary::Row>& rows) {
    Summary::Traffic sent;
    Summary::Traffic received;
    std::uint64_t errorCount = 0;
    const auto add = [](Summary::Traffic& sum, const Summary::Traffic& part) {
        sum.messages += part.messages;
        sum.bytes += part.bytes;
    };
    for (const Summary::Row& row : rows) {
        add(sent, row.sent);
        add(received, row.received);
        errorCount += row.errors;
    }
    Cells cells;
    cells[process] = "total";
    cells[peer] = std::to_string(rows.size()) + (rows.size() == 1 ? " connection" : " connections");
    setTraffic(cells, sent, received, errorCount);
    return cells;
}

void appendRow(const Cells& cells, const std::array<std::size_t, columnCount>& widths,
               std::string& output) {
    for (std::size_t i = 0; i < columnCount; ++i) {
        if (i != 0) output += "  ";
        const std::string padding(widths[i] - cells[i].size(), ' ');
        // Words begin, and numbers end, where their column does.
        output += i == peer || i == process ? cells[i] + padding : padding + cells[i];
    }
    output += '\n';
}

}  // namespace

void Summary::add(const RecordedLine& line) {
    if (line.damage != nullptr) {
        ++damagedLines_;
        return;
    }
    ++messages_;
    const Event& event = *line.event;
    const auto time = clock_.timeOf(event);
    auto* const entry = conversations_.follow(event);
    if (entry == nullptr) return;

    if (entry->hasBegun) {
        entry->state.value = rows_.size();
        rows_.emplace_back().conversation = entry->conversation;
    }
    Row& row = rows_[entry->state.value];
    if (!row.begin) row.begin = time;
    if (time) row.end = time;
    row.isClosed = entry->hasEnded;
    count(event, row);
}

void Summary::count(const Event& event, Row& row) const {
    // Neither a connect that is under way nor one that asks again about it has failed.
    const bool isConnect = event.kind == RecorderMessageKind::connect;
    if (isConnect ? isFailedConnect(event) : event.error().has_value()) ++row.errors;
    if (event.error()) return;
    Traffic* const traffic = event.kind == RecorderMessageKind::send      ? &row.sent
                             : event.kind == RecorderMessageKind::receive ? &row.received
                                                                          : nullptr;
    // The end of a stream is no message.
    if (traffic == nullptr || event.isEndOfStream()) return;
    ++traffic->messages;
    traffic->bytes += event.payload().size();
}

void Summary::appendTable(std::string& output) const {
    std::vector<Cells> lines;
    lines.emplace_back();
    std::ranges::copy(headings, lines.back().begin());
    for (const Row& row : rows_)
        lines.push_back(cellsOf(row));
    lines.push_back(totalsOf(rows_));

    std::array<std::size_t, columnCount> widths{};
    for (const Cells& cells : lines) {
        for (std::size_t i = 0; i < columnCount; ++i)
            widths[i] = std::max(widths[i], cells[i].size());
    }
    for (const Cells& cells : lines)
        appendRow(cells, widths, output);
    if (damagedLines_ != 0) {
        output += std::to_string(damagedLines_) +
                  (damagedLines_ == 1 ? " damaged line\n" : " damaged lines\n");
    }
}

}  // namespace veltra
