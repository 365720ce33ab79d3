#pragma once

#include "recording/Formatter.h"

namespace veltra {

// One JSON object a line: "kind", then the attributes under their names in the order of the
// message, numbers as numbers. Bytes are text if they are UTF-8; if not, the text has U+FFFD where
// it is none, and an attribute of the same name with "_base64" behind it has the bytes.
class JsonFormatter : public Formatter {
public:
    void append(const RecordedLine& line, std::string& output) override;
};

}  // namespace veltra
