#pragma once

#include <pcap/pcap.h>

#include <cstdio>
#include <memory>
#include <string>

#include "recording/ConversationTable.h"
#include "recording/EventClock.h"
#include "report/OutputFile.h"
#include "report/Report.h"
#include "report/TcpStream.h"

namespace veltra {

// A capture file with made-up packets for what the recording tells of its connections. Stamps are
// in nanoseconds. Grows with the number of open connections only.
class CaptureReport : public Report {
public:
    // Throws std::runtime_error when memory is short.
    explicit CaptureReport(OutputFile& output);

    void add(const RecordedLine& line) override;
    void finish() override;

private:
    struct CloseCapture {
        void operator()(pcap_t* capture) const { ::pcap_close(capture); }
    };
    struct CloseDump {
        void operator()(pcap_dumper_t* dump) const { ::pcap_dump_close(dump); }
    };

    void write(std::int64_t time, const TcpSegment& segment);

    // The capture library writes to a stream of the C library, and that to the output.
    struct Destination {
        OutputFile& output;
        std::exception_ptr failure;
    };
    static ssize_t writeToDestination(void* destination, const char* bytes, std::size_t count);
    void passFailureOn();

    Destination destination_;
    std::unique_ptr<pcap_t, CloseCapture> capture_;
    std::unique_ptr<pcap_dumper_t, CloseDump> dump_;
    ConversationTable<TcpStream> conversations_;
    EventClock clock_;
    std::int64_t latest_ = 0;  // for events that carry no time
    std::string packet_;
};

}  // namespace veltra
