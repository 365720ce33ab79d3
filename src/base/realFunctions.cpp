#include "base/realFunctions.h"

#include <dlfcn.h>

#include <cerrno>

#include "base/utils.h"

#define DEFINE_POINTER(ret, name, params, args) \
    constinit std::atomic<name##_function> name##_ptr{nullptr};
INTERPOSED_CALLS(DEFINE_POINTER, DEFINE_POINTER)
RESOLVED_CALLS(DEFINE_POINTER)
#undef DEFINE_POINTER

constinit std::atomic<int (*)()> WSAGetLastError_ptr{nullptr};
constinit std::atomic<void (*)(int)> WSASetLastError_ptr{nullptr};

namespace {

template <typename Function>
[[gnu::cold]] [[gnu::noinline]] Function resolve(std::atomic<Function>& pointer, const char* name) {
    const auto function = reinterpret_cast<Function>(MyGetProcAddr(name));
    pointer.store(function, std::memory_order_relaxed);
    return function;
}

// The pointer's value, looked up by the function's plain name if it is still null.
template <typename Function>
[[gnu::always_inline]] inline Function resolved(std::atomic<Function>& pointer, const char* name) {
    const Function function = pointer.load(std::memory_order_relaxed);
    return function != nullptr ? function : resolve(pointer, name);
}

}  // namespace

#define DEFINE_RESOLVER(ret, name, params, args)                                         \
    void Init##name() {                                                                  \
        if (name##_ptr.load(std::memory_order_relaxed) != nullptr) return;               \
        name##_ptr.store(reinterpret_cast<name##_function>(Truedlsym(RTLD_NEXT, #name)), \
                         std::memory_order_relaxed);                                     \
    }
INTERPOSED_CALLS(DEFINE_RESOLVER, DEFINE_RESOLVER)
#undef DEFINE_RESOLVER

#define DEFINE_WRAPPER(ret, name, params, args)        \
    ret True_##name params {                           \
        const auto real = resolved(name##_ptr, #name); \
        if (real == nullptr) [[unlikely]]              \
            return static_cast<ret>(0);                \
        return real args;                              \
    }
#define DEFINE_NO_WRAPPER(ret, name, params, args)
INTERPOSED_CALLS(DEFINE_WRAPPER, DEFINE_NO_WRAPPER)
#undef DEFINE_NO_WRAPPER

RESOLVED_CALLS(DEFINE_WRAPPER)
#undef DEFINE_WRAPPER

int True_WSAGetLastError() {
    const auto real = resolved(WSAGetLastError_ptr, "WSAGetLastError");
    return real == nullptr ? 0 : real();
}

void True_WSASetLastError(int code) {
    const auto real = resolved(WSASetLastError_ptr, "WSASetLastError");
    if (real != nullptr) real(code);
}

int WSAGetLastError() {
    return errno;
}

void WSASetLastError(int code) {
    errno = code;
}
