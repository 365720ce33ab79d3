#pragma once

#include <atomic>

#include "base/export.h"

// 1 while connections are rerouted through SOCKS servers. Set at start-up from the environment
// (socks/socksSettings.cpp).
VELTRA_EXPORT extern std::atomic<int> socksModeActive;

inline bool isSocksModeActive() {
    return socksModeActive.load(std::memory_order_relaxed) != 0;
}
