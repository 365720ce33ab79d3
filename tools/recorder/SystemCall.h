#pragma once

namespace veltra {

// Passes on the result of a system call that returns a descriptor or 0.
// Throws std::system_error with `purpose` in its text when the result says that the call failed.
int checked(int result, const char* purpose);

}  // namespace veltra
