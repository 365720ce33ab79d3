#pragma once

// What the registry's own files share.

#include <atomic>

#include "base/CriticalSection.h"

// Guards destination, family, type and protocol where createSocketInfo writes them and where the
// destination is read.
extern CriticalSection criticalSectionSocketInfoData;

// Whether the registry is in use: set by the first createSocketInfo.
extern std::atomic<int> criticalSectionSocketInfoInitialized;
