#include "report/Report.h"

#include "recording/Formatter.h"
#include "recording/Summary.h"
#include "report/CaptureReport.h"
#include "report/PageReport.h"

namespace veltra {

namespace {

class FormattedReport : public Report {
public:
    FormattedReport(RecordingFormat format, OutputFile& output)
        : formatter_(makeFormatter(format)), output_(output) {}

    void add(const RecordedLine& line) override {
        text_.clear();
        formatter_->append(line, text_);
        output_.write(text_);
    }

    void finish() override {}

private:
    const std::unique_ptr<Formatter> formatter_;
    OutputFile& output_;
    std::string text_;
};

class SummaryReport : public Report {
public:
    explicit SummaryReport(OutputFile& output) : output_(output) {}

    void add(const RecordedLine& line) override { summary_.add(line); }

    void finish() override {
        std::string table;
        summary_.appendTable(table);
        output_.write(table);
    }

private:
    Summary summary_;
    OutputFile& output_;
};

}  // namespace

std::unique_ptr<Report> makeReport(ReportKind kind, OutputFile& output, const std::string& title) {
    switch (kind) {
        case ReportKind::summary:
            return std::make_unique<SummaryReport>(output);
        case ReportKind::json:
            return std::make_unique<FormattedReport>(RecordingFormat::json, output);
        case ReportKind::capture:
            return std::make_unique<CaptureReport>(output);
        case ReportKind::page:
            return std::make_unique<PageReport>(output, title);
        case ReportKind::text:
            break;
    }
    return std::make_unique<FormattedReport>(RecordingFormat::text, output);
}

}  // namespace veltra
