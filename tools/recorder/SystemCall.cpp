#include "recorder/SystemCall.h"

#include <cerrno>
#include <system_error>

namespace veltra {

int checked(int result, const char* purpose) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), purpose);
    return result;
}

}  // namespace veltra
