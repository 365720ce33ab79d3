#include "report/DamageList.h"

#include <iostream>

#include "report/RecordingFiles.h"

namespace veltra {

void DamageList::begin(const std::string& recording) {
    recording_ = shownName(recording);
    count_ = 0;
}

void DamageList::tell(const RecordedLine& line) {
    if (!isFull()) {
        std::cerr << "veltra-report: " << recording_ << ':' << line.number << ':'
                  << line.damage->column << ": " << line.damage->reason << '\n';
    }
    ++count_;
    ++total_;
}

void DamageList::end() {
    if (count_ <= mostNamed) return;
    const std::uint64_t others = count_ - mostNamed;
    std::cerr << "veltra-report: " << recording_ << ": " << others
              << (others == 1 ? " more damaged line\n" : " more damaged lines\n");
}

}  // namespace veltra
