#include "record/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

void reserveStandardStreams() {
    int number = 0;
    do {
        // Open for reading only, so that writing fails as it does on a closed descriptor.
        number = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (number >= 0 && number <= STDERR_FILENO);
    if (number >= 0) ::close(number);
}

}  // namespace veltra
