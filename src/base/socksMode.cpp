#include "base/socksMode.h"

constinit std::atomic<int> socksModeActive{0};
