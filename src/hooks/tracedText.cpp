#include "hooks/tracedText.h"

#include <algorithm>
#include <climits>

#include "base/applicationMemory.h"

TracedText tracedText(const void* buffer, std::size_t limit) {
    if (buffer == nullptr) return {INT_MAX, "(null)"};
    const auto* const text = static_cast<const char*>(buffer);
    const std::size_t most = std::min<std::size_t>(limit, INT_MAX);
    return {static_cast<int>(std::min(readableTextLength(text), most)), text};
}
