#include "recording/errorText.h"

#include <cstring>
#include <limits>

namespace veltra {

std::string errorText(std::int64_t code) {
    const char* name = nullptr;
    if (code >= 0 && code <= std::numeric_limits<int>::max()) {
        name = ::strerrorname_np(static_cast<int>(code));
    }
    if (name == nullptr) return "error " + std::to_string(code);
    return std::string(name) + " (" + ::strerrordesc_np(static_cast<int>(code)) + ')';
}

}  // namespace veltra
