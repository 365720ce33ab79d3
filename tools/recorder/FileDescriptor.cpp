#include "recorder/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace veltra {

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : number_(std::exchange(other.number_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        close();
        number_ = std::exchange(other.number_, -1);
    }
    return *this;
}

int FileDescriptor::close() noexcept {
    if (!isOpen()) return 0;
    return ::close(std::exchange(number_, -1)) == 0 ? 0 : errno;
}

}  // namespace veltra
