#include "FewDescriptors.h"

#include <fcntl.h>

#include <algorithm>
#include <filesystem>

namespace veltra::testing {

std::vector<int> openDescriptors() {
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.push_back(std::stoi(entry.path().filename()));
    }
    // The one that the iterator had is not open any more.
    std::erase_if(descriptors, [](int descriptor) { return ::fcntl(descriptor, F_GETFD) < 0; });
    return descriptors;
}

FewDescriptors::FewDescriptors(unsigned count) {
    const int highest = std::ranges::max(openDescriptors());
    fillGapsBelow(highest);
    ::getrlimit(RLIMIT_NOFILE, &previous_);
    rlimit few = previous_;
    few.rlim_cur = static_cast<rlim_t>(highest) + 1 + count;
    ::setrlimit(RLIMIT_NOFILE, &few);
}

FewDescriptors::~FewDescriptors() {
    ::setrlimit(RLIMIT_NOFILE, &previous_);
}

void FewDescriptors::fillGapsBelow(int highest) {
    for (;;) {
        FileDescriptor filler(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (!filler.isOpen() || filler.number() > highest) return;
        fillers_.push_back(std::move(filler));
    }
}

}  // namespace veltra::testing
