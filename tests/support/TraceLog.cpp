#include "support/TraceLog.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

#include "base/utils.h"

namespace veltra::testing {

TraceLog::TraceLog(int level)
    : file_(folder_.path() / "trace.txt"), levelBefore_(debugLvl.exchange(level)) {
    set_file_display(file_.c_str(), folder_.path().c_str());
    takeText();
}

TraceLog::~TraceLog() {
    set_file_display(nullptr, nullptr);
    debugLvl.store(levelBefore_);
}

std::vector<std::string> TraceLog::takeLines() {
    return linesOf(takeText());
}

std::string TraceLog::takeText() {
    // The agent never flushes its log.
    std::fflush(nullptr);
    std::string text = contentOf(file_).substr(taken_);
    taken_ += text.size();
    return text;
}

std::vector<std::string> linesOf(const std::string& text) {
    if (!text.empty() && text.back() != '\n') {
        ADD_FAILURE() << "the last line has no newline: " << text;
    }
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

}  // namespace veltra::testing
