#include "entry/sockentry.h"

#define DEFINE_DIRECT(ret, name, params, args)                        \
    ret Direct##name params {                                         \
        Init##name();                                                 \
        const auto real = name##_ptr.load(std::memory_order_relaxed); \
        return real == nullptr ? static_cast<ret>(0) : real args;     \
    }
INTERPOSED_CALLS(DEFINE_DIRECT, DEFINE_DIRECT)
#undef DEFINE_DIRECT
