#pragma once

#include <windows.h>

namespace tovix {

/// [audio] Calls `function(pContext)` and returns 1, or 0 when an exception of the platform's own C++ compiler came
/// out of it. Exceptions of this compiler pass through; a fault stays a fault.
/// It costs a call and a return; what an exception would need is in tables.
extern "C" int tovixGuardedCall(void (*function)(void*), void* pContext);

/// [control] Runs `call`, which enters a library that any compiler may have built, and returns whether it
/// returned instead of throwing. `call` itself must own nothing that needs a destructor.
template <class Call> bool guardedCall(Call call) noexcept {
    try {
        return tovixGuardedCall([](void* pCall) { (*static_cast<Call*>(pCall))(); }, &call) != 0;
    } catch (...) {
        return false;
    }
}

/// [control] The result code of a method of a foreign object, or `E_FAIL` when it threw. `call` as above.
template <class Call> HRESULT guardedResult(Call call) noexcept {
    HRESULT hr = E_FAIL;
    static_cast<void>(guardedCall([&] { hr = call(); }));
    return hr;
}

} // namespace tovix
