#include "entry/sockentry.h"

#include "base/SignalBlock.h"
#include "hooks/HookSocket.h"

// The entry points take the C library's names as assembler names only: its own headers declare
// those with attributes that a second declaration could not repeat.
#define DEFINE_ENTRY_POINT(ret, name, params, args)                             \
    extern "C" VELTRA_EXPORT ret Entry##name params __asm__(#name);             \
    ret Entry##name params {                                                    \
        if (signalBlockDepth != 0) [[unlikely]]                                 \
            return Direct##name args;                                           \
        if (startUpPending.load(std::memory_order_acquire)) [[unlikely]]        \
            prepareCall();                                                      \
        if (name##_ptr.load(std::memory_order_relaxed) == nullptr) [[unlikely]] \
            Init##name();                                                       \
        return My##name args;                                                   \
    }
INTERPOSED_CALLS(DEFINE_ENTRY_POINT, DEFINE_ENTRY_POINT)
#undef DEFINE_ENTRY_POINT
