#include "record/LiveLine.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <utility>

namespace veltra {

namespace {

constexpr std::chrono::milliseconds firstWait{500};
constexpr std::chrono::milliseconds interval{250};
constexpr const char* wipe = "\r\x1b[K";

std::size_t columnsOf(int terminal) {
    winsize size{};
    if (::ioctl(terminal, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

}  // namespace

LiveLine::LiveLine(Output& terminal, std::function<std::string()> text)
    : terminal_(terminal), text_(std::move(text)), thread_(&LiveLine::run, this) {}

LiveLine::~LiveLine() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

bool LiveLine::canBeShown() {
    return ::isatty(STDERR_FILENO) == 1;
}

void LiveLine::run() {
    std::unique_lock lock(mutex_);
    const auto isEnding = [this] { return ending_; };
    changed_.wait_for(lock, firstWait, isEnding);
    while (!ending_) {
        lock.unlock();
        show();
        lock.lock();
        changed_.wait_for(lock, interval, isEnding);
    }
    if (!shown_.empty()) terminal_.write(wipe);
}

void LiveLine::show() {
    // A program in the background does not write to its terminal.
    if (::tcgetpgrp(terminal_.descriptor()) != ::getpgrp()) return;
    std::string text = text_();
    // The last column stays free, or the line would become two.
    text.resize(std::min(text.size(), columnsOf(terminal_.descriptor()) - 1));
    if (text == shown_) return;
    shown_ = std::move(text);
    // The cursor goes back, so that the command's next line begins where a line begins.
    terminal_.write(wipe + shown_ + "\r");
}

}  // namespace veltra
