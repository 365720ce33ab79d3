#include "entry/sockentry.h"

#define DEFINE_DIRECT(ret, name, params, args)                  \
    ret Direct##name params {                                   \
        Init##name();                                           \
        return name##_ptr.load(std::memory_order_relaxed) args; \
    }
INTERPOSED_CALLS(DEFINE_DIRECT, DEFINE_DIRECT)
#undef DEFINE_DIRECT
