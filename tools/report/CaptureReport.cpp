#include "report/CaptureReport.h"

#include <stdexcept>

namespace veltra {

namespace {

constexpr int snapshotLength = 262144;
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

}  // namespace

CaptureReport::CaptureReport(OutputFile& output)
    : destination_{output, nullptr},
      // Packets begin with their IP header.
      capture_(::pcap_open_dead_with_tstamp_precision(DLT_RAW, snapshotLength,
                                                      PCAP_TSTAMP_PRECISION_NANO)) {
    cookie_io_functions_t functions{};
    functions.write = writeToDestination;
    std::FILE* const stream = ::fopencookie(&destination_, "w", functions);
    if (capture_ == nullptr || stream == nullptr) {
        throw std::runtime_error("not enough memory for a capture file");
    }
    dump_.reset(::pcap_dump_fopen(capture_.get(), stream));
    if (dump_ != nullptr) return;
    const std::string reason = ::pcap_geterr(capture_.get());
    std::fclose(stream);
    throw std::runtime_error("cannot begin the capture file: " + reason);
}

void CaptureReport::add(const RecordedLine& line) {
    if (line.event == nullptr) return;
    const Event& event = *line.event;
    latest_ = clock_.timeOf(event).value_or(latest_);
    auto* const entry = conversations_.follow(event);
    if (entry == nullptr) return;
    if (entry->hasBegun) entry->state = TcpStream(entry->conversation);
    entry->state.follow(
        event, entry->conversation, latest_,
        [this](std::int64_t time, const TcpSegment& segment) { write(time, segment); });
    passFailureOn();
}

void CaptureReport::finish() {
    ::pcap_dump_flush(dump_.get());
    passFailureOn();
}

void CaptureReport::write(std::int64_t time, const TcpSegment& segment) {
    makePacket(segment, packet_);
    pcap_pkthdr header{};
    header.ts.tv_sec = time / nanosecondsPerSecond;
    header.ts.tv_usec = time % nanosecondsPerSecond;  // nanoseconds, as was asked for
    header.caplen = static_cast<bpf_u_int32>(packet_.size());
    header.len = header.caplen;
    ::pcap_dump(reinterpret_cast<u_char*>(dump_.get()), &header,
                reinterpret_cast<const u_char*>(packet_.data()));
}

// Nothing may be thrown through the C library.
ssize_t CaptureReport::writeToDestination(void* destination, const char* bytes, std::size_t count) {
    auto* const target = static_cast<Destination*>(destination);
    try {
        if (target->failure == nullptr) target->output.write({bytes, count});
    } catch (...) {
        target->failure = std::current_exception();
    }
    return static_cast<ssize_t>(count);
}

void CaptureReport::passFailureOn() {
    if (destination_.failure != nullptr) std::rethrow_exception(destination_.failure);
}

}  // namespace veltra
