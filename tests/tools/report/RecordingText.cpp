#include "RecordingText.h"

#include "recording/escaping.h"

namespace veltra::testing {

std::string escapedText(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const EscapedByte& form = escaped(byte);
        text.append(form.text, form.length);
    }
    return text;
}

std::string everyByte() {
    std::string bytes;
    for (int value = 0; value < 256; ++value)
        bytes += static_cast<char>(value);
    return bytes;
}

}  // namespace veltra::testing
