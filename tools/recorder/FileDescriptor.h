#pragma once

namespace veltra {

// Owns one file descriptor and closes it in the end.
class FileDescriptor {
public:
    // Owns nothing.
    FileDescriptor() noexcept = default;

    // Takes over the open descriptor `number`.
    explicit FileDescriptor(int number) noexcept : number_(number) {}

    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { close(); }

    // The descriptor, or -1 when nothing is owned.
    int number() const noexcept { return number_; }

    bool isOpen() const noexcept { return number_ >= 0; }

    // Closes what is owned, if anything. Returns 0, or the error code that closing gave: for a
    // file it can be the first news of a failed write. The descriptor is gone in any case.
    int close() noexcept;

private:
    int number_ = -1;
};

}  // namespace veltra
