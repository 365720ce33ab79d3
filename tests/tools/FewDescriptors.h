#pragma once

#include <sys/resource.h>

#include <vector>

#include "recorder/FileDescriptor.h"

namespace veltra::testing {

// The descriptors that this process has open.
std::vector<int> openDescriptors();

// Leaves room for `count` more descriptors until it is destroyed.
class FewDescriptors {
public:
    explicit FewDescriptors(unsigned count);
    ~FewDescriptors();
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    void fillGapsBelow(int highest);

    rlimit previous_{};
    std::vector<FileDescriptor> fillers_;
};

}  // namespace veltra::testing
