#pragma once

#include <cstddef>

namespace veltra::testing {

// While an object lives, no malloc of the agent's for `fromSize` bytes or more succeeds, on any
// thread. Other code keeps its memory. Needs the target veltra_failing_malloc.
class FailingMalloc {
public:
    explicit FailingMalloc(std::size_t fromSize = 0);
    ~FailingMalloc();
    FailingMalloc(const FailingMalloc&) = delete;
    FailingMalloc& operator=(const FailingMalloc&) = delete;
};

}  // namespace veltra::testing
