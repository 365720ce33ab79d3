#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "record/Output.h"

namespace veltra {

// Keeps one line of a terminal up to date while a recording lasts. The command's own output goes
// over it.
class LiveLine {
public:
    // Shows what `text` says from now on, if it takes long enough to be worth looking at. `text` is
    // called on a thread of its own; `terminal` must outlive the line.
    LiveLine(Output& terminal, std::function<std::string()> text);
    LiveLine(const LiveLine&) = delete;
    LiveLine& operator=(const LiveLine&) = delete;

    // Wipes the line.
    ~LiveLine();

    // Whether standard error is a terminal that shows what this process writes.
    static bool canBeShown();

private:
    void run();
    void show();

    Output& terminal_;
    const std::function<std::string()> text_;
    std::string shown_;
    bool ending_ = false;
    std::mutex mutex_;  // guards `ending_`
    std::condition_variable changed_;
    std::thread thread_;
};

}  // namespace veltra
