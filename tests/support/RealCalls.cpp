#include "support/RealCalls.h"

namespace veltra::testing {

void useRealCalls() {
#define STORE_REAL(ret, name, params, args) name##_ptr.store(&::name);
    INTERPOSED_CALLS(STORE_REAL, STORE_REAL)
    RESOLVED_CALLS(STORE_REAL)
#undef STORE_REAL
    WSAGetLastError_ptr.store(&WSAGetLastError);
    WSASetLastError_ptr.store(&WSASetLastError);
}

}  // namespace veltra::testing
