#include "record/Recording.h"

namespace veltra {

Recording::Recording(RecordingFormat format, bool summary)
    : formatter_(format == RecordingFormat::lines ? nullptr : makeFormatter(format)),
      isSummedUp_(summary),
      reader_([this](const RecordedLine& line) { takeLine(line); }) {}

void Recording::open(const std::optional<std::string>& file) {
    writer_.emplace(file);
    isOpen_ = true;
}

void Recording::take(std::string_view message) {
    if (!isOpen_) return;
    {
        const std::lock_guard lock(mutex_);
        counts_.add(message);
    }
    if (formatter_ == nullptr) writer_->write(message);
    if (formatter_ == nullptr && !isSummedUp_) return;
    reader_.feed(message);
    reader_.endLine();
}

void Recording::takeLine(const RecordedLine& line) {
    if (isSummedUp_) summary_.add(line);
    if (formatter_ == nullptr) return;
    formatted_.clear();
    formatter_->append(line, formatted_);
    writer_->write(formatted_);
}

Counts Recording::counts() const {
    const std::lock_guard lock(mutex_);
    return counts_;
}

std::optional<std::string> Recording::finish() {
    return writer_->finish();
}

}  // namespace veltra
