#pragma once

#include <atomic>

#include "base/realFunctions.h"

namespace veltra::testing {

// Fills the table of real functions with those of the C library, so that no look-up leaves a trace.
void useRealCalls();

// Puts another function into the table of real functions until the object goes.
template <typename Function>
class ReplacedCall {
public:
    ReplacedCall(std::atomic<Function>& pointer, Function replacement)
        : pointer_(pointer), before_(pointer.exchange(replacement)) {}
    ~ReplacedCall() { pointer_.store(before_); }
    ReplacedCall(const ReplacedCall&) = delete;
    ReplacedCall& operator=(const ReplacedCall&) = delete;

private:
    std::atomic<Function>& pointer_;
    Function before_;
};

}  // namespace veltra::testing
