#pragma once

#include <cerrno>

// The application's error code across a hook body. Whatever the hook does, the real call finds the
// code that the application had, and the application finds the code that the real call left.
class HookErrorCode {
public:
    HookErrorCode() : code_(errno) {}
    ~HookErrorCode() { errno = code_; }
    HookErrorCode(const HookErrorCode&) = delete;
    HookErrorCode& operator=(const HookErrorCode&) = delete;

    // Makes the real call and keeps the code that it leaves. Returns the call's result.
    template <typename RealCall>
    auto around(RealCall&& realCall) {
        errno = code_;
        const auto result = realCall();
        code_ = errno;
        return result;
    }

    // For a call that is refused without asking the system: leaves the code. Returns -1.
    int refuse(int code) {
        code_ = code;
        return -1;
    }

    // The code after the real call, or a code to leave in its place.
    int code() const { return code_; }
    void set(int code) { code_ = code; }

private:
    int code_;
};
