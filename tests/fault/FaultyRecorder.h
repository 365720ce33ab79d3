#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "recorder/FileDescriptor.h"

namespace veltra::testing {

enum class RecorderFault {
    neverReads,   // accepts, and lets what comes pile up
    resets,       // accepts, and resets the connection
    dies,         // reads two messages, a piece of the third, and is gone
    queueIsFull,  // does not even accept, and its queue has no room
};

// A recorder on a loopback port of its own that does not do its work, while the object lives.
class FaultyRecorder {
public:
    explicit FaultyRecorder(RecorderFault fault);
    ~FaultyRecorder();
    FaultyRecorder(const FaultyRecorder&) = delete;
    FaultyRecorder& operator=(const FaultyRecorder&) = delete;

    std::uint16_t port() const { return port_; }

private:
    void serve();
    void fillQueue();
    FileDescriptor accept();
    bool readPiece(const FileDescriptor& connection);
    void readToEnd(const FileDescriptor& connection);

    const RecorderFault fault_;
    FileDescriptor listener_;
    std::uint16_t port_ = 0;
    std::vector<FileDescriptor> kept_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

}  // namespace veltra::testing
