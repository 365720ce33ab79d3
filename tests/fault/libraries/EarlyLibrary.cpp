// Makes recorded calls when it is loaded and when it is unloaded: before main, and after it.

#include <cstdlib>

#include "../probes/Stage.h"

namespace {

__attribute__((constructor)) void whenLoaded() {
    probe::talkIn("library loaded");
}

__attribute__((destructor)) void whenUnloaded() {
    probe::talkIn("library unloaded");
}

}  // namespace
