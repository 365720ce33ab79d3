#pragma once

// What the registry's own files share.

#include <atomic>

#include "base/CriticalSection.h"
#include "base/export.h"

// Guards destination, family, type and protocol where they are written or read together.
extern CriticalSection criticalSectionSocketInfoData;

// Whether the registry is in use: set by the first createSocketInfo.
extern std::atomic<int> criticalSectionSocketInfoInitialized;

// 1 while connections are rerouted through SOCKS servers. Read at start-up, defined beside the
// SOCKS settings (socks/), which lie on the same floor.
VELTRA_EXPORT extern std::atomic<int> socksModeActive;
