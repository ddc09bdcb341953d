#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace tovix {

/// The module's one T: made at the first call, by one thread while others wait, and destroyed at module exit, the
/// last made first. It stands in for a function-local static, whose guard this compiler takes from its thread library
/// (see CompilerRuntime.cpp). Any thread; [control]. The constructor must not come here again.
template <class T> class MadeOnce {
public:
    static T& get() noexcept {
        ::InitOnceExecuteOnce(&once, &make, nullptr, nullptr);
        return made();
    }

private:
    static BOOL CALLBACK make(INIT_ONCE* /*pOnce*/, void* /*pParameter*/, void** /*ppContext*/) noexcept {
        static_cast<void>(new (&storage) T);
        static_cast<void>(std::atexit([] { made().~T(); }));
        return TRUE;
    }
    static T& made() noexcept { return *std::launder(reinterpret_cast<T*>(&storage)); }

    static inline constinit INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    alignas(T) static inline std::byte storage[sizeof(T)];
};

} // namespace tovix
