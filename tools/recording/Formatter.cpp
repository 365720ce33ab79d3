#include "recording/Formatter.h"

#include "recording/JsonFormatter.h"
#include "recording/TextFormatter.h"

namespace veltra {

namespace {

class LinesFormatter : public Formatter {
public:
    void append(const RecordedLine& line, std::string& output) override {
        output += line.text;
        output += '\n';
    }
};

}  // namespace

std::unique_ptr<Formatter> makeFormatter(RecordingFormat format) {
    switch (format) {
        case RecordingFormat::json:
            return std::make_unique<JsonFormatter>();
        case RecordingFormat::text:
            return std::make_unique<TextFormatter>();
        case RecordingFormat::lines:
            break;
    }
    return std::make_unique<LinesFormatter>();
}

}  // namespace veltra
